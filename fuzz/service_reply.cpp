// Any bytes as the replies of the service, through the exported functions of libcallhome.so.
//
// Input: function, flags, number of tokens, the tokens, what is typed where the function asks, and answers
// for as long as the library asks.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <optional>
#include <vector>

#include "answering_platform.h"
#include "callhome/context.h"
#include "callhome/data.h"
#include "callhome/handlers.h"
#include "fake_files.h"
#include "fake_sleep.h"
#include "input.h"
#include "protocol/layout.h"
#include "require.h"

using callhome::fuzz::Input;
using callhome::fuzz::require;

namespace {

enum Flag : unsigned {
    no_form = 1U << 0U,
    standby = 1U << 1U,
    pending_copy = 1U << 2U,
    no_output_handle = 1U << 3U,
    message_in_progress = 1U << 4U,
    no_vrfs = 1U << 5U,
    unknown_vrf = 1U << 6U,
};

// A parsed command whose values are allocated to the byte.
class Command {
 public:
    explicit Command(unsigned flags) {
        context_.no_form = (flags & no_form) != 0 ? 1 : 0;
        context_.active_sup = (flags & standby) != 0 ? 0 : 1;
    }

    CommandContext* context() { return &context_; }
    void set_form(std::uint32_t command_id) { context_.command_id = command_id; }

    void add_empty_slot() { ++context_.token_count; }
    // The form goes into both codes: which of them is read is the handler's business.
    void add(std::uint32_t keyword, std::uint32_t form, std::span<const std::byte> value) {
        auto& owned = values_.emplace_back(value.begin(), value.end());
        owned.shrink_to_fit();
        records_.push_back({keyword, form, {0, 0}, owned.empty() ? nullptr : owned.data(), form});
        context_.tokens[++context_.token_count] = &records_.back();
    }
    void add_text(std::uint32_t keyword, std::uint32_t form, Input& input) {
        std::string text = input.counted_text();
        text.resize(std::strlen(text.c_str()));
        add(keyword, form, std::as_bytes(std::span(text.c_str(), text.size() + 1)));
    }

 private:
    CommandContext context_{};
    std::deque<TokenRecord> records_;
    std::deque<std::vector<std::byte>> values_;
};

enum class Value : std::uint8_t { text, number, byte, host, host_text };

struct Parameter {
    std::uint32_t keyword;
    Value value;
};

// The keywords and parameters of the commands, and what each carries; one is of no command. New ones go to
// the end: the corpus counts on the places of the others.
constexpr std::array parameters{
    Parameter{1, Value::text},          Parameter{2, Value::text},          Parameter{4, Value::text},
    Parameter{5, Value::text},          Parameter{6, Value::text},          Parameter{7, Value::number},
    Parameter{8, Value::text},          Parameter{9, Value::text},          Parameter{10, Value::text},
    Parameter{11, Value::text},         Parameter{12, Value::text},         Parameter{13, Value::text},
    Parameter{14, Value::host},         Parameter{15, Value::number},       Parameter{16, Value::text},
    Parameter{17, Value::number},       Parameter{18, Value::text},         Parameter{19, Value::text},
    Parameter{20, Value::text},         Parameter{22, Value::text},         Parameter{24, Value::text},
    Parameter{25, Value::text},         Parameter{26, Value::text},         Parameter{35, Value::byte},
    Parameter{65, Value::text},         Parameter{66, Value::text},         Parameter{69, Value::text},
    Parameter{70, Value::text},         Parameter{84, Value::text},         Parameter{85, Value::text},
    Parameter{86, Value::text},         Parameter{87, Value::text},         Parameter{88, Value::text},
    Parameter{89, Value::text},         Parameter{90, Value::text},         Parameter{91, Value::text},
    Parameter{92, Value::text},         Parameter{93, Value::text},         Parameter{94, Value::text},
    Parameter{95, Value::text},         Parameter{96, Value::text},         Parameter{97, Value::number},
    Parameter{0x30710004, Value::text}, Parameter{0xFFFFFFFF, Value::text}, Parameter{28, Value::text},
    Parameter{34, Value::text},         Parameter{37, Value::text},         Parameter{103, Value::text},
    Parameter{42, Value::text},         Parameter{44, Value::text},         Parameter{45, Value::number},
    Parameter{47, Value::text},         Parameter{49, Value::text},         Parameter{50, Value::text},
    Parameter{52, Value::text},         Parameter{58, Value::text},         Parameter{62, Value::text},
    Parameter{98, Value::text},         Parameter{99, Value::host_text},    Parameter{100, Value::number},
    Parameter{111, Value::text},        Parameter{112, Value::text},        Parameter{118, Value::text},
    Parameter{119, Value::text},        Parameter{120, Value::text},        Parameter{127, Value::text},
    Parameter{130, Value::number},      Parameter{131, Value::text},        Parameter{133, Value::text},
    Parameter{136, Value::text},        Parameter{137, Value::text},        Parameter{138, Value::text},
    Parameter{139, Value::text},        Parameter{104, Value::text},        Parameter{105, Value::text},
    Parameter{107, Value::number},      Parameter{108, Value::text},        Parameter{109, Value::text},
    Parameter{57, Value::text},
};

enum Slot : std::uint8_t { empty_slot = 0xFF, valueless = 0xFE };

void add_host(Command& command, std::uint32_t keyword, bool as_text, Input& input) {
    constexpr std::array<std::uint32_t, 4> forms{CALLHOME_VALUE_HOST_NAME, CALLHOME_VALUE_IPV4,
                                                 CALLHOME_VALUE_IPV6, 0};
    const std::uint32_t form = forms[input.byte() % forms.size()];
    if (as_text || form == CALLHOME_VALUE_HOST_NAME) {
        command.add_text(keyword, form, input);
        return;
    }
    std::array<std::byte, CALLHOME_ADDRESS_BLOCK_SIZE> block{};
    const auto content = input.bytes(block.size());
    std::copy(content.begin(), content.end(), block.begin());
    command.add(keyword, form, block);
}

void add_value(Command& command, const Parameter& parameter, Input& input) {
    switch (parameter.value) {
        case Value::text:
            command.add_text(parameter.keyword, 0, input);
            break;
        case Value::number: {
            const std::uint32_t number = input.word();
            command.add(parameter.keyword, 0, std::as_bytes(std::span(&number, 1)));
            break;
        }
        case Value::byte: {
            const std::uint8_t number = input.byte();
            command.add(parameter.keyword, 0, std::as_bytes(std::span(&number, 1)));
            break;
        }
        case Value::host:
        case Value::host_text:
            add_host(command, parameter.keyword, parameter.value == Value::host_text, input);
            break;
    }
}

void add_token(Command& command, bool texts_only, Input& input) {
    const std::uint8_t slot = input.byte();
    if (slot == empty_slot) {
        command.add_empty_slot();
        return;
    }
    const Parameter& parameter = parameters[(slot == valueless ? input.byte() : slot) % parameters.size()];
    if (slot == valueless) {
        command.add(parameter.keyword, CALLHOME_VALUE_IPV4, {});
    } else if (!texts_only || parameter.value == Value::text) {
        add_value(command, parameter, input);
    }
}

struct HandlerRow {
    std::uint32_t (*handler)(CommandContext*);
    std::uint32_t command_id;  // its tokens are names only when it is not 0
};

constexpr std::uint32_t create_profile = 102;
constexpr std::uint32_t show_profile = 101;

template <std::uint32_t (*handler)()>
std::uint32_t without_context(CommandContext* /*ctx*/) {
    return handler();
}

// New ones go to the end here, too, and below.
constexpr std::array handlers{
    HandlerRow{callhome_mode, 0},
    HandlerRow{ch_config_gch_ds_mode, 0},
    HandlerRow{callhome_enable, 0},
    HandlerRow{callhome_traps_enable, 0},
    HandlerRow{callhome_test, 0},
    HandlerRow{callhome_test_inventory, 0},
    HandlerRow{callhome_send_config, 0},
    HandlerRow{callhome_send_diag, 0},
    HandlerRow{callhome_send_swcrash, 0},
    HandlerRow{callhome_send_obx, 0},
    HandlerRow{callhome_test_supfailure, 0},
    HandlerRow{callhome_info, 0},
    HandlerRow{callhome_destprofile, 0},
    HandlerRow{callhome_destprofile, create_profile},
    HandlerRow{callhome_destprofile_email, 0},
    HandlerRow{callhome_destprofile_url, 0},
    HandlerRow{callhome_destprofile_transport_method, 0},
    HandlerRow{callhome_email, 0},
    HandlerRow{callhome_multiple_smtp, 0},
    HandlerRow{callhome_show_emailconf, 0},
    HandlerRow{callhome_alert_groups, 0},
    HandlerRow{callhome_process_user_def_cmds, 0},
    HandlerRow{callhome_http_proxy, 0},
    HandlerRow{callhome_http_vrf, 0},
    HandlerRow{callhome_periodic_inventory, 0},
    HandlerRow{callhome_dup_msg_throttle, 0},
    HandlerRow{ch_config_data_privacy_level, 0},
    HandlerRow{ch_config_data_privacy_hostname, 0},
    HandlerRow{callhome_show_sw_inventory, 0},
    HandlerRow{callhome_pxd_distribute, 0},
    HandlerRow{callhome_pxd_commit, 0},
    HandlerRow{callhome_clear_session, 0},
    HandlerRow{callhome_show, 0},
    HandlerRow{callhome_show_destprofile, 0},
    HandlerRow{callhome_show_user_destprofile, show_profile},
    HandlerRow{callhome_show_destprofile_fulltxt, 0},
    HandlerRow{callhome_show_destprofile_shorttxt, 0},
    HandlerRow{callhome_show_destprofile_xml, 0},
    HandlerRow{ch_show_gch_ds, 0},
    HandlerRow{ch_show_gch_ds_id, 0},
    HandlerRow{ch_show_gch_ds_failure_stats_dnld, 0},
    HandlerRow{ch_test_send_msg_clear_stat, 0},
    HandlerRow{ch_show_gch_info, 0},
    HandlerRow{ch_exec_gch_ds_load_file, 0},
    HandlerRow{ch_exec_gch_ds_download, 0},
    HandlerRow{ch_exec_gch_ds_deinstall, 0},
    HandlerRow{ch_exec_gch_ds_install, 0},
    HandlerRow{ch_clear_gch_ds_statistics, 0},
    HandlerRow{ch_config_gch_ds_environment, 0},
    HandlerRow{ch_config_gch_ds_profile, 0},
    HandlerRow{ch_config_gch_ds_active, 0},
    HandlerRow{ch_trigger_event, 0},
    HandlerRow{callhome_show_tech_support, 0},
    HandlerRow{callhome_show_memstats, 0},
    HandlerRow{without_context<callhome_show_trace>, 0},
    HandlerRow{without_context<ch_show_gch_trace>, 0},
};

// What is typed on standard input while a handler asks questions.
class Typed {
 public:
    explicit Typed(std::string text) : text_(std::move(text)), kept_(stdin) {
        stdin = fmemopen(text_.data(), text_.size(), "r");
        require(stdin != nullptr, "there is a stream for what is typed");
    }
    Typed(const Typed&) = delete;
    Typed& operator=(const Typed&) = delete;
    ~Typed() {
        (void)std::fclose(stdin);
        stdin = kept_;
    }

 private:
    std::string text_;
    std::FILE* kept_;
};

void call_handler(const HandlerRow& row, Command& command) {
    const std::uint32_t result = row.handler(command.context());
    require(result <= 1, "a handler returns 0 or 1");
}

// The functions that are no handlers of a command.
constexpr std::size_t reply_part_size = 2048;  // bytes, as promised to both texts of a split reply

template <std::int32_t (*generator)(CommandContext*)>
void generate(Command& command, Input& /*input*/) {
    require(generator(command.context()) >= 0, "a generator returns 0, 1 or a refusal");
}

void generate_all(Command& command, Input& input) {
    command.context()->config_depth = input.byte();
    require(callhome_asciigen(command.context()) == 0, "the driver goes on whatever happens");
}

constexpr std::size_t contact_record_size = 2305;  // bytes, as promised to a display of one item

void show_contact_item(Command& command, Input& input) {
    h = command.context();
    const std::uint32_t index = input.byte();
    const auto status = static_cast<ServiceStatus>(input.word());
    std::vector<char> reply(contact_record_size);
    const std::string text = input.rest();
    std::copy_n(text.begin(), std::min(text.size(), reply.size()), reply.begin());
    callhome_show_table_info(index, status, h, reply.data());
}

void list_user_commands(Command& command, Input& /*input*/) {
    callhome_show_user_def_cmds(command.context());
}

void print_error(Command& /*command*/, Input& input) {
    callhome_print_error(static_cast<ServiceStatus>(input.word()));
}

void name_result(Command& /*command*/, Input& input) {
    require(ch_get_error_string(input.word()) != nullptr, "every result code has a text");
}

void split_reply(Command& /*command*/, Input& input) {
    const std::string text = input.rest();
    std::vector<char> success(reply_part_size);
    std::vector<char> warning(reply_part_size);
    if (parse_success_and_warning_message(text.c_str(), success.data(), warning.data()) == 0) {
        require(strnlen(success.data(), success.size()) < success.size(), "confirmations are terminated");
        require(strnlen(warning.data(), warning.size()) < warning.size(), "warnings are terminated");
    }
}

void print_reply(Command& /*command*/, Input& input) {
    const char* name = input.byte() == 0 ? nullptr : "test";
    std::string text = input.rest();
    parse_and_print_test_alert_reply(text.data(), name);
    parse_and_print_test_alert_reply(nullptr, name);
}

constexpr std::size_t first_other_function = 0xF0;
// As many as there are numbers left for them.
constexpr std::array<void (*)(Command&, Input&), 16> other_functions{
    generate<callhome_emailconf_asciigen>,
    print_error,
    name_result,
    split_reply,
    print_reply,
    generate<callhome_http_proxy_asciigen>,
    generate<callhome_http_vrf_asciigen>,
    list_user_commands,
    generate<callhome_info_asciigen>,
    generate<callhome_asciigen_destprofile_xml>,
    generate<callhome_asciigen_destprofile_fulltxt>,
    generate<callhome_asciigen_destprofile_shorttxt>,
    generate<callhome_asciigen_destprofile>,
    generate_all,
    generate<print_calhome_config>,
    show_contact_item,
};

// The exported data as a process has it before its first command.
void reset_library(unsigned flags) {
    cmd_type = 0;
    h = nullptr;
    std::memset(buffer, 0, sizeof buffer);
    print_running_config = (flags & pending_copy) != 0 ? 0 : 1;
    pxd_data_present = 0;
    pxd_dist_enabled = 0;
    callhome::test::sleeps().clear();
    callhome::test::files().opened.clear();
    callhome::test::files().removed.clear();
    callhome::test::files().marker_stands = (flags & message_in_progress) != 0;
}

// Takes the place of /tmp for the working file of reply texts.
class WorkingFolder {
 public:
    WorkingFolder() {
        std::string name = std::filesystem::temp_directory_path() / "callhome-fuzz-XXXXXX";
        require(mkdtemp(name.data()) != nullptr, "a folder can be made");
        path_ = name;
        callhome::test::files().working_file = path_ / "callhome_reply_msg.txt";
        callhome::test::files().script = path_ / "tech_callhome";
    }
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;
    ~WorkingFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

 private:
    std::filesystem::path path_;
};

}  // namespace

// What the library prints goes nowhere; the fuzzer's own lines have a stream of their own by now.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    static const WorkingFolder folder;
    FILE* nowhere = std::fopen("/dev/null", "w");
    require(nowhere != nullptr, "there is a /dev/null");
    stdout = nowhere;
    stderr = nowhere;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr unsigned most_tokens = 9;
    Input input(data, size);
    const std::size_t function = input.byte();
    const unsigned flags = input.byte();
    reset_library(flags);
    use_answers(input, {.has_output_handle = (flags & no_output_handle) == 0,
                        .knows_vrfs = (flags & no_vrfs) == 0,
                        .vrf_id = (flags & unknown_vrf) != 0 ? 0U : 1U});
    Command command(flags);
    if (function >= first_other_function) {
        other_functions[(function - first_other_function) % other_functions.size()](command, input);
        return 0;
    }
    const HandlerRow& row = handlers[function % handlers.size()];
    command.set_form(row.command_id);
    for (unsigned tokens = input.byte() % most_tokens; tokens > 0; --tokens) {
        add_token(command, row.command_id != 0, input);
    }
    std::optional<Typed> typed;
    if (row.handler == ch_exec_gch_ds_install) {
        typed.emplace(input.counted_text());
    }
    call_handler(row, command);
    return 0;
}
