#include "answering_platform.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>

#include "callhome/context.h"
#include "platform/interface.h"
#include "protocol/records/message.h"
#include "protocol/status.h"
#include "record_input.h"
#include "require.h"

namespace callhome::fuzz {
namespace {

enum AnswerForm : std::uint8_t {
    no_reply,
    whole_record,
    any_bytes,
    answer_forms,
};

struct Platform {
    Input* answers = nullptr;
    PlatformSettings settings;
    // The reply that was handed out last; it is converted once, within its length.
    const void* reply = nullptr;
    std::size_t reply_length = 0;
    std::deque<std::string> tuples;
};

Platform& platform() {
    static Platform instance;
    return instance;
}

const protocol::Exchange& exchange_of(std::uint32_t opcode) {
    const protocol::Exchange* exchange = protocol::find_exchange(opcode);
    require(exchange != nullptr, "the library uses opcodes of the protocol only");
    return *exchange;
}

// Allocated to the byte, so that a sanitizer sees every read beyond what came.
void hand_over(std::span<const std::byte> bytes, void** reply_slot, std::uint32_t* length_slot) {
    void* reply = std::malloc(std::max<std::size_t>(bytes.size(), 1));
    require(reply != nullptr, "there is memory for a reply");
    std::copy(bytes.begin(), bytes.end(), static_cast<std::byte*>(reply));
    *reply_slot = reply;
    *length_slot = static_cast<std::uint32_t>(bytes.size());
    platform().reply = reply;
    platform().reply_length = bytes.size();
}

// The record of the opcode; or the reply that came last, where that is sent back.
bool is_request(const protocol::Exchange& exchange, std::size_t length) {
    return length == exchange.request.size ||
           (exchange.behind_request > 0 && length == platform().reply_length);
}

// So that a sanitizer sees a request that is not all there.
void read_all(std::span<const std::byte> request) {
    volatile unsigned sum = 0;
    for (const std::byte byte : request) {
        sum = sum + std::to_integer<unsigned>(byte);
    }
}

}  // namespace

void use_answers(Input& answers, const PlatformSettings& settings) {
    platform() = {
        .answers = &answers, .settings = settings, .reply = nullptr, .reply_length = 0, .tuples = {}};
}

}  // namespace callhome::fuzz

using namespace callhome::fuzz;
namespace protocol = callhome::protocol;

ServiceStatus svc_request_response(uint32_t opcode, uint32_t /*operation*/, void* request,
                                   void** reply_slot, uint32_t* length_slot, void* /*link_block_1*/,
                                   void* /*link_block_2*/, uint32_t /*flags*/,
                                   uint32_t /*transport_handle*/, uint32_t /*timeout_seconds*/) {
    const protocol::Exchange& exchange = exchange_of(opcode);
    require(is_request(exchange, *length_slot), "a request is its opcode's record, or its reply sent back");
    read_all({static_cast<const std::byte*>(request), *length_slot});
    Input& answers = *platform().answers;
    if (reply_slot != nullptr) {
        *reply_slot = nullptr;
    }
    if (answers.is_empty()) {
        return static_cast<ServiceStatus>(protocol::Status::no_further_entry);
    }
    const ServiceStatus status = take_status(answers);
    const unsigned form = answers.byte() % answer_forms;
    if (reply_slot != nullptr && form == whole_record) {
        hand_over(take_record(answers, exchange.reply), reply_slot, length_slot);
    } else if (reply_slot != nullptr && form == any_bytes) {
        hand_over(answers.counted_bytes(), reply_slot, length_slot);
    }
    return status;
}

void ch_msg_byteorder_convert(uint32_t opcode, void* record) {
    const protocol::Exchange& exchange = exchange_of(opcode);
    const bool is_reply = record == platform().reply && record != nullptr;
    const protocol::Layout& layout = is_reply ? exchange.reply : exchange.request;
    const std::size_t length = is_reply ? platform().reply_length : layout.size;
    platform().reply = nullptr;
    protocol::convert_byte_order({static_cast<std::byte*>(record), length}, layout);
}

ServiceStatus ch_post_alert(uint32_t /*transport_handle*/, const char* alert, const char* source,
                            const char* text, AlertResult* result) {
    require(alert != nullptr && source != nullptr && text != nullptr, "an alert has all its texts");
    Input& answers = *platform().answers;
    const ServiceStatus posted = take_status(answers);
    if (result == nullptr) {
        return posted;
    }
    result->status = take_status(answers);
    const auto reply = answers.counted_bytes();
    std::memcpy(result->text, reply.data(), std::min(reply.size(), sizeof result->text));
    return posted;
}

ServiceStatus ch_post_syslog_alert(uint32_t /*transport_handle*/, const char* source, uint32_t severity,
                                   const char* text) {
    require(source != nullptr && text != nullptr, "an alert has all its texts");
    require(severity <= protocol::least_severe, "an alert has a severity of the system log");
    return take_status(*platform().answers);
}

int shell_execute_script_file(void* request) {
    const auto* script = static_cast<const ScriptRun*>(request);
    require(strnlen(script->path, sizeof script->path) < sizeof script->path, "the path is terminated");
    return platform().answers->byte();
}

int tracebuf_get_by_line(const char* /*buffer*/, int /*first*/, void* (*line)(const char*, void*),
                         void* arg) {
    const std::string text = platform().answers->counted_text();
    line(text.c_str(), arg);
    return 1;
}

int tracebuf_dump_console(const char* buffer, int /*whole*/) {
    require(buffer != nullptr, "a trace buffer is asked for by its name");
    return 0;
}

int debug_trace_dump(uint32_t /*transport_handle*/, uint32_t /*destination*/, uint32_t /*opcode*/,
                     void* request, uint32_t length, const char* function) {
    require(request != nullptr && length == sizeof(MemoryDumpRequest) && function != nullptr,
            "a dump is asked for with all its words");
    return 0;
}

const char* sys_err_to_str(int32_t code) {
    const char* text = protocol::text_of(static_cast<protocol::Status>(code));
    return text == nullptr ? "100% unknown" : text;
}

void shell_print_mts_error(uint32_t /*cmd_type*/, int /*error_number*/) {
    require(false, "the transport never fails here");
}

void* cli_reply_handle_from_param(CommandContext* ctx) {
    return platform().settings.has_output_handle ? ctx : nullptr;
}

void* cli_tuple(uint32_t /*tag*/, const char* value) {
    return &platform().tuples.emplace_back(value);
}

int cli_print(void* handle, const char* format, ...) {
    require(handle != nullptr && format != nullptr, "what is printed has a handle and a format");
    va_list list;
    va_start(list, format);
    while (const auto* value = static_cast<const std::string*>(va_arg(list, void*))) {
        std::fputs(value->c_str(), stdout);
    }
    va_end(list);
    return 0;
}

int cli_print_send(void* /*handle*/) {
    platform().tuples.clear();
    return 0;
}

void cfgout_cmd_init(CommandContext* /*request*/) {}

int cfgout_start_stop_get() {
    return 0;
}

int cfgout_cmd_count_get() {
    return 0;
}

void cfgout_cmd_punch() {}

int cfgout_buf_printf(const char* format, ...) {
    std::array<char, 4096> line{};  // longer than any field
    va_list list;
    va_start(list, format);
    const int length = std::vsnprintf(line.data(), line.size(), format, list);
    va_end(list);
    require(std::strchr(line.data(), '\n') != nullptr, "the running configuration is written in lines");
    return length;
}

int vrf_api_init(void) {
    return platform().settings.knows_vrfs ? 0 : -1;
}

uint32_t vrf_get_context_id(const char* name) {
    require(name != nullptr, "a VRF is asked for by its name");
    return platform().settings.vrf_id;
}
