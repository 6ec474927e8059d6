// Commands as a shell parses them, and what comes of them.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <deque>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "callhome/context.h"
#include "callhome/data.h"
#include "callhome/handlers.h"
#include "fake_files.h"
#include "fake_platform.h"

namespace callhome::test {

// A parsed command. Every value lies at an odd address: a shell may put it anywhere.
class Command {
 public:
    Command() {
        context_.active_sup = 1;
        context_.transport_handle = 77;
    }
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    Command& no() {
        context_.no_form = 1;
        return *this;
    }
    Command& form(std::uint32_t command_id) {
        context_.command_id = command_id;
        return *this;
    }
    Command& keyword(std::uint32_t id) { return add(id, 0, nullptr, 0); }
    Command& text(std::uint32_t id, std::string_view value) {
        const std::string terminated(value);
        return add(id, 0, terminated.c_str(), terminated.size() + 1);
    }
    // A text whose form is told by the second code of the token.
    Command& text_of_kind(std::uint32_t id, std::uint32_t value_kind, std::string_view value) {
        text(id, value);
        records_.back().value_kind = value_kind;
        return *this;
    }
    template <typename Number>
    Command& number(std::uint32_t id, Number value) {
        return add(id, 0, &value, sizeof value);
    }
    Command& host_name(std::uint32_t id, std::string_view value) {
        const std::string terminated(value);
        return add(id, CALLHOME_VALUE_HOST_NAME, terminated.c_str(), terminated.size() + 1);
    }
    // An address block; its first four bytes carry nothing of the address.
    Command& address(std::uint32_t id, std::uint32_t value_type, std::initializer_list<int> bytes) {
        std::array<unsigned char, CALLHOME_ADDRESS_BLOCK_SIZE> block;
        block.fill(0xEE);
        std::size_t next = 4;
        for (const int byte : bytes) {
            block[next++] = static_cast<unsigned char>(byte);
        }
        return add(id, value_type, block.data(), block.size());
    }
    // An address parameter whose value is missing.
    Command& valueless(std::uint32_t id, std::uint32_t value_type) {
        return add(id, value_type, nullptr, 0);
    }
    Command& null_token() {
        context_.tokens[++context_.token_count] = nullptr;
        return *this;
    }

    CommandContext* context() { return &context_; }

 private:
    Command& add(std::uint32_t id, std::uint32_t value_type, const void* value, std::size_t size) {
        records_.push_back({id, value_type, {0, 0}, nullptr, 0});
        if (value != nullptr) {
            auto& memory = values_.emplace_back(size + 1);
            std::memcpy(memory.data() + 1, value, size);
            records_.back().value = memory.data() + 1;
        }
        context_.tokens[++context_.token_count] = &records_.back();
        return *this;
    }

    CommandContext context_{};
    std::deque<TokenRecord> records_;
    std::deque<std::vector<char>> values_;
};

struct Printed {
    std::string out;
    std::string err;
};

// What is written to standard output and standard error while `action` runs.
Printed capture(const std::function<void()>& action);

struct Outcome {
    std::int64_t result;
    std::string out;
    std::string err;
};

template <typename Handler>
Outcome run(Handler handler, Command& command) {
    std::int64_t result = -1;
    auto printed = capture([&] { result = handler(command.context()); });
    return {result, printed.out, printed.err};
}

// Starts every test from a fresh platform and a working folder of its own.
class LibraryTest : public testing::Test {
 protected:
    LibraryTest();
    ~LibraryTest() override;
    LibraryTest(const LibraryTest&) = delete;
    LibraryTest& operator=(const LibraryTest&) = delete;

    // Queues an answer of the service.
    static void service_says(Answer next) { platform().answers.push_back(std::move(next)); }
    static void service_refuses(ServiceStatus status) { service_says(refusal(status)); }
    static void service_refuses(protocol::Status status) { service_says(refusal(status)); }

    // "OPCODE/OPERATION" of every exchange, in order.
    static std::vector<std::string> asked();

    const std::filesystem::path folder_;
};

inline constexpr const char* no_form_refusal = "'no' option is not supported with this command\n";
inline constexpr const char* port_warning =
    "Warning: Non standard destination port. Return traffic for this service is subject to class-default "
    "CoPP class and leads to little to no connectivity\n";
inline constexpr const char* not_found_text = "text of 0x403B000B\n";

using Asked = std::vector<std::string>;
using Lines = std::vector<std::string>;

}  // namespace callhome::test
