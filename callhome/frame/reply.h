// Exchanges with the service, and the replies that they bring.
#pragma once

#include <cstdint>
#include <cstdlib>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "frame/outcome.h"
#include "protocol/opcode.h"

namespace callhome::library {

// Values of cmd_type.
enum CommandClass : std::uint32_t {
    class_exec = 1,  // also show and running configuration
    class_configuration = 2,
};

// A reply of the service, released with its owner. What is read of it lies within the length that came.
template <typename Record, typename Request = Record>
class Reply {
 public:
    Reply() = default;
    ~Reply() { std::free(data_); }
    Reply(const Reply&) = delete;
    Reply& operator=(const Reply&) = delete;

    // Sends `request` and keeps what comes back in place of an earlier reply.
    ServiceStatus ask(protocol::Opcode opcode, protocol::Operation operation, Request& request,
                      CommandContext& ctx) {
        std::free(data_);
        data_ = nullptr;
        length_ = sizeof request;
        return callhome_cmi(static_cast<std::uint32_t>(opcode), static_cast<std::uint32_t>(operation),
                            &request, &data_, &length_, &ctx);
    }

    // Asks for the pending copy first, and for the effective one when there is no pending copy. The
    // request stays as the first exchange has left it.
    ServiceStatus look_up(protocol::Opcode opcode, Request& request, CommandContext& ctx) {
        const ServiceStatus status = ask(opcode, protocol::Operation::get_pending, request, ctx);
        return means_no_pending_copy(status) ? ask(opcode, protocol::Operation::get, request, ctx) : status;
    }

    // Sends the reply itself back, in the length in which it came; what is answered becomes `answer`.
    ServiceStatus send_back(protocol::Opcode opcode, protocol::Operation operation, Reply& answer,
                            CommandContext& ctx) {
        std::free(answer.data_);
        answer.data_ = nullptr;
        answer.length_ = length_;
        return callhome_cmi(static_cast<std::uint32_t>(opcode), static_cast<std::uint32_t>(operation),
                            data_, &answer.data_, &answer.length_, &ctx);
    }

    // Bytes that came; 0 without a reply.
    [[nodiscard]] std::uint32_t length() const { return data_ == nullptr ? 0 : length_; }

    // The record, or a null pointer when it did not come whole.
    [[nodiscard]] Record* record() {
        return length() < sizeof(Record) ? nullptr : static_cast<Record*>(data_);
    }

    // How many entries came whole behind the record.
    template <typename Entry>
    [[nodiscard]] std::size_t entries() const {
        return length() < sizeof(Record) ? 0 : (length() - sizeof(Record)) / sizeof(Entry);
    }

    // One of these entries.
    template <typename Entry>
    [[nodiscard]] Entry& entry(std::size_t index) {
        return reinterpret_cast<Entry*>(static_cast<Record*>(data_) + 1)[index];
    }

    // The text that begins at `offset`: as many bytes of it as came, which may lack a terminator.
    [[nodiscard]] const char* text_from(std::uint32_t offset) const {
        return static_cast<const char*>(data_) + offset;
    }

 private:
    void* data_ = nullptr;
    std::uint32_t length_ = 0;
};

// Sends a record that is answered by a status alone.
template <typename Record>
ServiceStatus send_record(protocol::Opcode opcode, protocol::Operation operation, Record& request,
                          CommandContext& ctx) {
    std::uint32_t length = sizeof request;
    return callhome_cmi(static_cast<std::uint32_t>(opcode), static_cast<std::uint32_t>(operation), &request,
                        nullptr, &length, &ctx);
}

}  // namespace callhome::library
