// A platform that records what the library asks of it and answers from a script.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "callhome/context.h"
#include "protocol/layout.h"
#include "protocol/status.h"

namespace callhome::test {

using Bytes = std::vector<std::byte>;

// What the service answers to one exchange. Reply bytes are in transport order.
struct Answer {
    ServiceStatus status = 0;
    std::optional<Bytes> reply = std::nullopt;
    int error_number = 0;  // errno of a failed transport
};

struct Exchange {
    std::uint32_t opcode = 0;
    std::uint32_t operation = 0;
    std::uint32_t length = 0;
    bool wants_reply = false;
    Bytes handed_over;  // the request as the handler filled it, before its conversion
    Bytes sent;         // the request as it leaves, in transport order
    const void* link_block_1 = nullptr;
    const void* link_block_2 = nullptr;
    std::uint32_t flags = 0;
    std::uint32_t transport_handle = 0;
    std::uint32_t timeout_seconds = 0;
    std::uint32_t cmd_type = 0;  // while the exchange goes on

    // The request as the service understands it.
    template <typename Record>
    [[nodiscard]] Record record() const {
        Bytes bytes = sent;
        protocol::convert_byte_order(bytes, protocol::layout_of<Record>());
        Record result{};
        std::memcpy(&result, bytes.data(), std::min(bytes.size(), sizeof result));
        return result;
    }
};

struct Tuple {
    std::uint32_t tag;
    std::string value;
};

struct PostedAlert {
    std::uint32_t transport_handle;
    std::string alert, source, text;
};

struct PostedSyslogAlert {
    std::uint32_t transport_handle;
    std::string source;
    std::uint32_t severity;
    std::string text;
};

struct MemoryDump {
    std::uint32_t transport_handle, destination, opcode, length;
    Bytes request;
    std::string function;
};

struct Platform {
    std::vector<std::string> calls;  // every call in order, in a short notation
    std::deque<Answer> answers;      // for the exchanges to come; after the last one: status 0, no reply
    std::function<Answer(const Exchange&)> service;  // answers in place of `answers`
    std::vector<Exchange> exchanges;

    // Structured output: "FORMAT|TAG=VALUE" for each cli_print.
    bool has_output_handle = true;
    std::vector<std::string> printed;
    std::deque<Tuple> tuples;
    int sends = 0;

    std::vector<std::string> configuration_lines;
    const void* configuration_request = nullptr;  // given to cfgout_cmd_init
    bool frames_configuration = false;            // result of cfgout_start_stop_get
    std::optional<int> configuration_count;       // of cfgout_cmd_count_get, if not the number of lines
    // The lines and the mode line of the block go to standard output, as they do on a terminal.
    bool shows_configuration = false;

    int vrf_init_result = 0;
    std::map<std::string, std::uint32_t> vrfs;

    std::vector<PostedAlert> alerts;
    ServiceStatus alert_post_result = 0;
    ServiceStatus alert_status = 0;
    std::string alert_text;  // all its bytes are put into the result, at most the size of its text

    std::vector<PostedSyslogAlert> syslog_alerts;
    bool was_given_alert_result = false;

    // Scripts: the request, and the file that it names as it is while the script runs.
    std::vector<Bytes> scripts;
    std::vector<std::string> script_texts;
    unsigned script_mode = 0;
    std::function<void()> when_script_runs;
    int script_result = 0;

    std::vector<std::string> trace_lines;  // of every buffer
    std::vector<const void*> line_results;
    int trace_result = 0;
    std::vector<MemoryDump> memory_dumps;

    // Requests and replies that are under way.
    Bytes last_handed_over;
    const void* reply_to_convert = nullptr;
    std::map<const void*, std::size_t> reply_lengths;
};

Platform& platform();

// The bytes of a record as they travel.
template <typename Record>
Bytes in_transport_order(const Record& record) {
    Bytes bytes(sizeof record);
    std::memcpy(bytes.data(), &record, sizeof record);
    protocol::convert_byte_order(bytes, protocol::layout_of<Record>());
    return bytes;
}

template <typename Record>
Answer answer(const Record& record, ServiceStatus status = 0) {
    return {.status = status, .reply = in_transport_order(record)};
}

inline Answer refusal(ServiceStatus status) {
    return {.status = status};
}
inline Answer refusal(protocol::Status status) {
    return {.status = static_cast<ServiceStatus>(status)};
}

// An answer whose reply ends early.
inline Answer cut(Answer whole, std::size_t length) {
    whole.reply->resize(length);
    return whole;
}

template <std::size_t size>
void put(char (&field)[size], std::string_view text) {
    std::memset(field, 0, size);
    std::copy_n(text.begin(), std::min(text.size(), size), field);
}

// A field up to its terminator, or all of it.
template <std::size_t size>
std::string text(const char (&field)[size]) {
    return {field, strnlen(field, size)};
}

}  // namespace callhome::test
