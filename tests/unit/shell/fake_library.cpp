// A libcallhome.so whose handlers say what they were given, for tests of the shell. A few do, on a word of
// the command, what handlers do when things go wrong.
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "callhome/handlers.h"

namespace {

constexpr std::uint32_t switch_priority_value = 7;
constexpr std::uint32_t message_size_value = 17;
constexpr std::uint32_t message_level_value = 35;
constexpr std::uint32_t port_value = 15;
constexpr std::uint32_t inventory_period_value = 45;
constexpr std::uint32_t server_priority_value = 97;
constexpr std::uint32_t proxy_port_value = 100;
constexpr std::uint32_t described_signature_value = 130;
constexpr std::uint32_t signature_value = 107;

std::string text_of(const TokenRecord& token) {
    switch (token.keyword_id) {
        case switch_priority_value:
        case message_size_value:
        case port_value:
        case inventory_period_value:
        case proxy_port_value:
        case described_signature_value:
        case signature_value:
        case server_priority_value: {
            std::uint32_t number = 0;
            std::memcpy(&number, token.value, sizeof number);
            return std::to_string(number);
        }
        case message_level_value:
            return std::to_string(*static_cast<const std::uint8_t*>(token.value));
        default:
            break;
    }
    if (token.value_type == CALLHOME_VALUE_IPV4 || token.value_type == CALLHOME_VALUE_IPV6) {
        return "(address)";
    }
    return static_cast<const char*>(token.value);
}

bool has_value(const CommandContext& context, const char* value) {
    for (unsigned index = 1; index <= context.token_count; ++index) {
        if (text_of(*context.tokens[index]) == value) {
            return true;
        }
    }
    return false;
}

void do_what_the_words_say(const CommandContext& context) {
    if (has_value(context, "lose-service")) {
        std::fputs("the service is lost\n", stderr);
        std::exit(EXIT_FAILURE);
    }
    if (has_value(context, "crash")) {
        (void)std::raise(SIGSEGV);
    }
    if (has_value(context, "ask")) {
        std::fputs("sure? ", stdout);  // no line end, no flush: at a terminal, reading shows it
        const int answer = std::getchar();
        std::printf("\tthe answer is \x1b%c\n", answer);
    }
    if (has_value(context, "wait")) {
        std::puts("waiting");
        (void)std::fflush(stdout);
        pause();
    }
}

std::uint32_t tell(const char* handler, const CommandContext& context) {
    std::printf("%s no=%u id=%u", handler, context.no_form, context.command_id);
    for (unsigned index = 1; index <= context.token_count; ++index) {
        std::printf(" %u=%s", context.tokens[index]->keyword_id, text_of(*context.tokens[index]).c_str());
    }
    std::putchar('\n');
    do_what_the_words_say(context);
    return has_value(context, "refuse") ? 1 : 0;
}

// What the display does besides is said by the environment, since its command has no values.
bool display_shall(const char* what) {
    const char* wish = std::getenv("FAKE_DISPLAY");
    return wish != nullptr && std::strcmp(wish, what) == 0;
}

constexpr int display_lines = 100;
constexpr int coloured_line = 50;

constexpr std::size_t answer_size = 128;
constexpr char control_z = '\x1A';

}  // namespace

#define TELLING_HANDLER(name)                     \
    std::uint32_t name(CommandContext* context) { \
        return tell(#name, *context);             \
    }

extern "C" {
TELLING_HANDLER(callhome_mode)
TELLING_HANDLER(ch_config_gch_ds_mode)
TELLING_HANDLER(callhome_enable)
TELLING_HANDLER(callhome_traps_enable)
TELLING_HANDLER(callhome_test)
TELLING_HANDLER(callhome_test_inventory)
TELLING_HANDLER(callhome_send_config)
TELLING_HANDLER(callhome_send_diag)
TELLING_HANDLER(callhome_send_swcrash)
TELLING_HANDLER(callhome_send_obx)
TELLING_HANDLER(callhome_test_supfailure)
TELLING_HANDLER(callhome_info)
TELLING_HANDLER(callhome_destprofile)
TELLING_HANDLER(callhome_destprofile_email)
TELLING_HANDLER(callhome_destprofile_url)
TELLING_HANDLER(callhome_destprofile_transport_method)
TELLING_HANDLER(callhome_email)
TELLING_HANDLER(callhome_multiple_smtp)
TELLING_HANDLER(callhome_show)
TELLING_HANDLER(callhome_show_destprofile)
TELLING_HANDLER(callhome_show_destprofile_fulltxt)
TELLING_HANDLER(callhome_show_destprofile_shorttxt)
TELLING_HANDLER(callhome_show_destprofile_xml)
TELLING_HANDLER(callhome_show_user_destprofile)
TELLING_HANDLER(callhome_alert_groups)
TELLING_HANDLER(callhome_process_user_def_cmds)
TELLING_HANDLER(callhome_http_proxy)
TELLING_HANDLER(callhome_http_vrf)
TELLING_HANDLER(callhome_periodic_inventory)
TELLING_HANDLER(callhome_dup_msg_throttle)
TELLING_HANDLER(ch_config_data_privacy_level)
TELLING_HANDLER(ch_config_data_privacy_hostname)
TELLING_HANDLER(callhome_pxd_distribute)
TELLING_HANDLER(callhome_pxd_commit)
TELLING_HANDLER(callhome_clear_session)
TELLING_HANDLER(callhome_show_user_def_cmds)
TELLING_HANDLER(callhome_show_sw_inventory)
TELLING_HANDLER(ch_show_gch_ds)
TELLING_HANDLER(ch_show_gch_ds_id)
TELLING_HANDLER(ch_show_gch_ds_failure_stats_dnld)
TELLING_HANDLER(ch_show_gch_info)
TELLING_HANDLER(ch_test_send_msg_clear_stat)
TELLING_HANDLER(ch_exec_gch_ds_load_file)
TELLING_HANDLER(ch_exec_gch_ds_download)
TELLING_HANDLER(ch_exec_gch_ds_deinstall)
TELLING_HANDLER(ch_clear_gch_ds_statistics)
TELLING_HANDLER(ch_config_gch_ds_environment)
TELLING_HANDLER(ch_config_gch_ds_profile)
TELLING_HANDLER(ch_config_gch_ds_active)
TELLING_HANDLER(ch_trigger_event)
TELLING_HANDLER(callhome_show_memstats)

// Those that are given nothing.
std::uint32_t callhome_show_trace() {
    std::puts("callhome_show_trace");
    return 0;
}
std::uint32_t ch_show_gch_trace() {
    std::puts("ch_show_gch_trace");
    return 0;
}
std::uint32_t callhome_show_inventory() {
    return 0;
}
std::uint32_t callhome_show_techsupport() {
    return 0;
}

// The script that the environment names, as a command that hands one over. Tests that load the library
// without a shell have nothing that could run it.
[[gnu::weak]] int shell_execute_script_file(void* request);
std::uint32_t callhome_show_tech_support(CommandContext*) {
    constexpr std::size_t path_place = 4;
    constexpr std::size_t request_size = 1044;
    std::array<char, request_size> request{};
    const char* path = std::getenv("FAKE_SCRIPT");
    (void)std::snprintf(request.data() + path_place, request.size() - path_place, "%s", path);
    std::puts("before");
    const bool has_failed = shell_execute_script_file(request.data()) != 0;
    std::puts("after");
    return has_failed ? 1 : 0;
}

// Asks, as an installation does.
std::uint32_t ch_exec_gch_ds_install(CommandContext* context) {
    tell("ch_exec_gch_ds_install", *context);
    for (const char* question : {"who", "when"}) {
        std::array<char, answer_size> answer{};
        std::printf("%s? ", question);
        if (std::fgets(answer.data(), answer.size(), stdin) == nullptr ||
            std::strchr(answer.data(), control_z) != nullptr) {
            return 1;
        }
        answer[std::strcspn(answer.data(), "\n")] = '\0';
        std::printf("%s=%s;\n", question, answer.data());
    }
    return 0;
}

std::uint32_t callhome_show_emailconf(CommandContext*) {
    if (display_shall("print bytes")) {
        std::puts("M\xFCller\t\x1b[31m");
        return 0;
    }
    for (int line = 1; line <= display_lines; ++line) {
        std::printf("line %d%s\n", line, line == coloured_line ? " \x1b[31mred" : "");
        if (line == coloured_line && display_shall("lose the service")) {
            std::fputs("the service is lost\n", stderr);
            std::exit(EXIT_FAILURE);
        }
    }
    return 0;
}
}
