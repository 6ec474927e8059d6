#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <span>

#include "actions/reply_text.h"
#include "callhome/data.h"
#include "callhome/handlers.h"
#include "display/output.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/tokens.h"
#include "protocol/records/signature.h"
#include "signature/expected_line.h"
#include "signature/request.h"
#include "signature/settings.h"
#include "signature/table.h"
#include "signature/text.h"

namespace callhome::library {
namespace {

using protocol::DsShowRequest;
using protocol::MsgStatsClearRecord;
using protocol::Opcode;
using protocol::Operation;
using protocol::ServiceInfo;
using protocol::ServiceInfoRequest;
using protocol::SignatureView;
using protocol::Status;

constexpr std::uint32_t tag_view_text = 0x30740068;

// The text that the service answers with, terminated whatever came; null when it has given none.
template <typename Request>
OwnedText ask_for_text(Opcode opcode, Request request, CommandContext& ctx) {
    cmd_type = class_exec;
    Reply<char, Request> reply;
    const ServiceStatus status = reply.ask(opcode, Operation::get, request, ctx);
    if (status != code(Status::ok) || reply.text_from(0) == nullptr) {
        return nullptr;
    }
    return copy_of_text(reply.text_from(0), reply.length());
}

OwnedText ask_for_view(DsShowRequest request, CommandContext& ctx) {
    return ask_for_text(Opcode::signature_view, request, ctx);
}

struct ViewKeyword {
    std::uint32_t keyword;
    SignatureView view;
};

// The order of the keywords is not that of the views.
constexpr std::array view_keywords{
    ViewKeyword{keyword_view_description, SignatureView::description},
    ViewKeyword{keyword_view_xml, SignatureView::xml},
    ViewKeyword{keyword_view_events, SignatureView::events},
    ViewKeyword{keyword_view_actions, SignatureView::actions},
    ViewKeyword{keyword_view_prompts, SignatureView::prompts},
    ViewKeyword{keyword_view_state, SignatureView::state},
    ViewKeyword{keyword_view_messages, SignatureView::messages},
};

// The view that the tokens name last.
DsShowRequest view_of(const CommandContext& ctx) {
    DsShowRequest request{.view = static_cast<std::uint32_t>(SignatureView::settings), .ds_id = 0};
    for (const TokenRecord& token : Tokens(ctx)) {
        for (const ViewKeyword& row : view_keywords) {
            if (token.keyword_id == row.keyword) {
                request = {.view = static_cast<std::uint32_t>(row.view), .ds_id = 0};
            }
        }
        if (token.keyword_id == keyword_view_description) {
            request.ds_id = number_value<std::uint32_t>(token).value_or(0);
        }
    }
    return request;
}

// One table of statistics.
struct Statistics {
    std::uint32_t keyword;
    SignatureView view;
    bool stands_off;  // an empty line comes first
    std::span<const char* const> headings;
    void (*print_rows)(const char* text);
};

constexpr std::array failure_headings{
    "Stage: D - Download, P - Parsing, F - File ",
    "       R - Registration, S - Sign ",
    "                                Last Failed Time",
    "DS ID    DS Name          Stage ",
    "-------- ---------------- ----- ",
};
constexpr std::array run_time_headings{
    "     Average Run  Max Run",
    "DS ID     DS Name                          Max/Deinstall  Time(sec)    Time(sec)",
    "--------  -------------------------------",
};
constexpr std::array download_headings{
    "Download-type    In-queue      Fail    Success   Last request sent",
    "-------------   ----------    -----   -------",
};

constexpr Statistics run_times{keyword_statistics_run_time, SignatureView::run_time, false,
                               run_time_headings, print_run_time_table};
constexpr std::array statistics{
    Statistics{keyword_statistics_failure, SignatureView::failures, false, failure_headings,
               print_ds_failure_table},
    run_times,
    Statistics{keyword_statistics_download, SignatureView::downloads, true, download_headings,
               print_download_table},
};

// The table that the tokens name last; null when they name something else, too.
const Statistics* statistics_of(const CommandContext& ctx) {
    const Statistics* chosen = &run_times;
    for (const TokenRecord& token : Tokens(ctx)) {
        const auto row = std::ranges::find(statistics, token.keyword_id, &Statistics::keyword);
        if (row == statistics.end()) {
            return nullptr;
        }
        chosen = &*row;
    }
    return chosen;
}

void print_statistics(const Statistics& table, const char* position) {
    if (table.stands_off) {
        print_empty_line();
    }
    for (const char* heading : table.headings) {
        show_expected_line(position, heading);
    }
    table.print_rows(position);
}

struct CountersKeyword {
    std::uint32_t keyword;
    std::uint32_t counters;
};

constexpr std::array counters_keywords{
    CountersKeyword{keyword_counters_sent, 1},
    CountersKeyword{keyword_counters_failed, 2},
};

struct InfoKeyword {
    std::uint32_t keyword;
    ServiceInfo info;
};

// The keyword of the queue came last and stands among the first.
constexpr std::array info_keywords{
    InfoKeyword{keyword_info_version, ServiceInfo::version},
    InfoKeyword{keyword_info_state, ServiceInfo::state},
    InfoKeyword{keyword_info_connections, ServiceInfo::connections},
    InfoKeyword{keyword_info_queue, ServiceInfo::queue},
    InfoKeyword{keyword_info_store, ServiceInfo::store},
    InfoKeyword{keyword_info_memory, ServiceInfo::memory},
    InfoKeyword{keyword_info_configuration, ServiceInfo::configuration},
    InfoKeyword{keyword_info_licences, ServiceInfo::licences},
};

// The number that the tokens name last; 0, which the service refuses, when they name none.
template <typename Row, std::size_t rows, typename Number>
std::uint32_t number_of(const CommandContext& ctx, const std::array<Row, rows>& keywords,
                        Number Row::*number) {
    std::uint32_t result = 0;
    for (const TokenRecord& token : Tokens(ctx)) {
        for (const Row& row : keywords) {
            if (token.keyword_id == row.keyword) {
                result = static_cast<std::uint32_t>(row.*number);
            }
        }
    }
    return result;
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t ch_show_gch_ds(CommandContext* ctx) {
    if (!begin_output(*ctx, __func__, __LINE__)) {
        return failed;
    }
    if (is_on_standby(*ctx)) {
        print_tuple(tag_error, "%s", buffer);
        cli_print_send(h);
        return failed;
    }
    const OwnedText text =
        ask_for_view({.view = static_cast<std::uint32_t>(SignatureView::settings), .ds_id = 0}, *ctx);
    if (text == nullptr) {
        return report_failed_exchange();
    }
    print_ds_settings(text.get());
    cli_print_send(h);
    return done;
}

uint32_t ch_show_gch_ds_id(CommandContext* ctx) {
    if (is_on_standby(*ctx) || !begin_output(*ctx, __func__, __LINE__)) {
        return failed;
    }
    const OwnedText text = ask_for_view(view_of(*ctx), *ctx);
    if (text == nullptr) {
        return report_failed_exchange();
    }
    print_tuple(tag_view_text, "%s", text.get());
    cli_print_send(h);
    return done;
}

uint32_t ch_show_gch_ds_failure_stats_dnld(CommandContext* ctx) {
    if (is_on_standby(*ctx) || !begin_output(*ctx, __func__, __LINE__)) {
        return failed;
    }
    const Statistics* table = statistics_of(*ctx);
    if (table == nullptr) {
        std::fputs("This command is not supported.\n", stderr);
        return failed;
    }
    const OwnedText text =
        ask_for_view({.view = static_cast<std::uint32_t>(table->view), .ds_id = 0}, *ctx);
    if (text == nullptr) {
        return report_failed_exchange();
    }
    print_statistics(*table, text.get());
    cli_print_send(h);
    return done;
}

uint32_t ch_test_send_msg_clear_stat(CommandContext* ctx) {
    if (is_on_standby(*ctx)) {
        return failed;
    }
    cmd_type = class_exec;
    MsgStatsClearRecord request{.counters = number_of(*ctx, counters_keywords, &CountersKeyword::counters),
                                .status = 0};
    Reply<MsgStatsClearRecord> reply;
    const ServiceStatus status = reply.ask(Opcode::message_statistics, Operation::get, request, *ctx);
    if (status != code(Status::ok) || reply.record() == nullptr) {
        std::fputs("Failed to execute command.\n", stderr);
        return failed;
    }
    report_result(reply.record()->status);
    return done;
}

uint32_t ch_show_gch_info(CommandContext* ctx) {
    const ServiceInfoRequest request{.info_type = number_of(*ctx, info_keywords, &InfoKeyword::info)};
    if (is_on_standby(*ctx)) {
        return failed;
    }
    const OwnedText text = ask_for_text(Opcode::service_info, request, *ctx);
    if (text == nullptr) {
        return report_failed_exchange();
    }
    print_as_format(text.get());
    return done;
}
