#include "fake_platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "callhome/data.h"
#include "fake_files.h"
#include "platform/interface.h"

namespace callhome::test {

Platform& platform() {
    static Platform instance;
    return instance;
}

namespace {

Bytes copy_of(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const std::byte*>(data);
    return {bytes, bytes + size};
}

void note(const std::string& call) {
    platform().calls.push_back(call);
}

// Allocated to the byte, so that a sanitizer sees every read beyond what came.
void hand_over_reply(const Bytes& reply, void** reply_slot, std::uint32_t* length_slot) {
    void* data = std::malloc(std::max<std::size_t>(reply.size(), 1));
    std::copy(reply.begin(), reply.end(), static_cast<std::byte*>(data));
    *reply_slot = data;
    *length_slot = static_cast<std::uint32_t>(reply.size());
    platform().reply_lengths[data] = reply.size();
    platform().reply_to_convert = data;
}

Answer next_answer() {
    if (platform().answers.empty()) {
        return {};
    }
    Answer result = platform().answers.front();
    platform().answers.pop_front();
    return result;
}

}  // namespace
}  // namespace callhome::test

using namespace callhome::test;

void ch_msg_byteorder_convert(uint32_t opcode, void* record) {
    const auto* exchange = callhome::protocol::find_exchange(opcode);
    ASSERT_NE(exchange, nullptr);
    const auto known = platform().reply_lengths.find(record);
    const std::size_t length =
        known == platform().reply_lengths.end() ? exchange->request.size : known->second;
    const bool is_reply = record == platform().reply_to_convert;
    platform().reply_to_convert = nullptr;
    if (!is_reply) {
        platform().last_handed_over = copy_of(record, length);
    }
    note((is_reply ? "convert reply " : "convert request ") + std::to_string(opcode));
    callhome::protocol::convert_byte_order({static_cast<std::byte*>(record), length},
                                           is_reply ? exchange->reply : exchange->request);
}

ServiceStatus svc_request_response(uint32_t opcode, uint32_t operation, void* request, void** reply_slot,
                                   uint32_t* length_slot, void* link_block_1, void* link_block_2,
                                   uint32_t flags, uint32_t transport_handle, uint32_t timeout_seconds) {
    note("exchange " + std::to_string(opcode) + "/" + std::to_string(operation));
    platform().exchanges.push_back({
        .opcode = opcode,
        .operation = operation,
        .length = *length_slot,
        .wants_reply = reply_slot != nullptr,
        .handed_over = platform().last_handed_over,
        .sent = copy_of(request, *length_slot),
        .link_block_1 = link_block_1,
        .link_block_2 = link_block_2,
        .flags = flags,
        .transport_handle = transport_handle,
        .timeout_seconds = timeout_seconds,
        .cmd_type = cmd_type,
    });
    const Answer answer =
        platform().service ? platform().service(platform().exchanges.back()) : next_answer();
    if (answer.reply && reply_slot != nullptr) {
        hand_over_reply(*answer.reply, reply_slot, length_slot);
    }
    errno = answer.error_number;
    return answer.status;
}

ServiceStatus ch_post_alert(uint32_t transport_handle, const char* alert, const char* source,
                            const char* text, AlertResult* result) {
    note("post alert");
    platform().alerts.push_back({transport_handle, alert, source, text});
    platform().was_given_alert_result = result != nullptr;
    if (result == nullptr) {
        return platform().alert_post_result;
    }
    result->status = platform().alert_status;
    const std::string& reply = platform().alert_text;
    std::memcpy(result->text, reply.data(), std::min(reply.size(), sizeof result->text));
    return platform().alert_post_result;
}

ServiceStatus ch_post_syslog_alert(uint32_t transport_handle, const char* source, uint32_t severity,
                                   const char* text) {
    note("post syslog alert");
    platform().syslog_alerts.push_back({transport_handle, source, severity, text});
    return platform().alert_post_result;
}

int shell_execute_script_file(void* request) {
    note("run script");
    platform().scripts.push_back(copy_of(request, sizeof(ScriptRun)));
    std::ostringstream text;
    text << std::ifstream(files().script).rdbuf();
    platform().script_texts.push_back(text.str());
    platform().script_mode = static_cast<unsigned>(std::filesystem::status(files().script).permissions());
    if (platform().when_script_runs) {
        platform().when_script_runs();
    }
    std::puts("output of the commands");
    return platform().script_result;
}

int tracebuf_get_by_line(const char* name, int first, void* (*line)(const char*, void*), void* arg) {
    note("trace lines of " + std::string(name) + " from " + std::to_string(first));
    for (const std::string& text : platform().trace_lines) {
        platform().line_results.push_back(line(text.c_str(), arg));
    }
    platform().line_results.push_back(line(nullptr, arg));
    return platform().trace_result;
}

int tracebuf_dump_console(const char* name, int whole) {
    note("dump of " + std::string(name) + ", whole " + std::to_string(whole));
    return platform().trace_result;
}

int debug_trace_dump(uint32_t transport_handle, uint32_t destination, uint32_t opcode, void* request,
                     uint32_t length, const char* function) {
    note("debug dump");
    platform().memory_dumps.push_back(
        {transport_handle, destination, opcode, length, copy_of(request, length), function});
    return platform().trace_result;
}

const char* sys_err_to_str(int32_t code) {
    static std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "text of 0x%08X", static_cast<unsigned>(code));
    return text.data();
}

void shell_print_mts_error(uint32_t command_class, int error_number) {
    std::fprintf(stderr, "transport lost: class %u errno %d\n", command_class, error_number);
}

void* cli_reply_handle_from_param(CommandContext* ctx) {
    return platform().has_output_handle ? ctx : nullptr;
}

void* cli_tuple(uint32_t tag, const char* value) {
    platform().tuples.push_back({tag, value});
    return &platform().tuples.back();
}

int cli_print(void* handle, const char* format, ...) {
    EXPECT_EQ(handle, h) << "printed to another handle";
    std::string line = format;
    va_list list;
    va_start(list, format);
    while (const auto* tuple = static_cast<const Tuple*>(va_arg(list, void*))) {
        std::array<char, 16> tag{};
        std::snprintf(tag.data(), tag.size(), "|%X=", tuple->tag);
        line += tag.data() + tuple->value;
    }
    va_end(list);
    platform().printed.push_back(line);
    return 0;
}

int cli_print_send(void* handle) {
    EXPECT_EQ(handle, h) << "sent another handle";
    ++platform().sends;
    return 0;
}

void cfgout_cmd_init(CommandContext* request) {
    note("cfgout init");
    platform().configuration_request = request;
}

int cfgout_start_stop_get(void) {
    return platform().frames_configuration ? 1 : 0;
}

int cfgout_cmd_count_get(void) {
    return platform().configuration_count.value_or(static_cast<int>(platform().configuration_lines.size()));
}

void cfgout_cmd_punch(void) {
    note("cfgout punch");
    if (platform().shows_configuration) {
        std::puts("mode line");
    }
}

int cfgout_buf_printf(const char* format, ...) {
    std::array<char, 4096> line{};
    va_list list;
    va_start(list, format);
    const int length = std::vsnprintf(line.data(), line.size(), format, list);
    va_end(list);
    platform().configuration_lines.emplace_back(line.data());
    if (platform().shows_configuration) {
        std::fputs(line.data(), stdout);
    }
    return length;
}

int vrf_api_init(void) {
    note("vrf init");
    return platform().vrf_init_result;
}

uint32_t vrf_get_context_id(const char* name) {
    note(std::string("vrf id of ") + name);
    const auto found = platform().vrfs.find(name);
    return found == platform().vrfs.end() ? 0 : found->second;
}
