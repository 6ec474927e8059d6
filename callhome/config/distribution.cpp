#include <unistd.h>

#include <array>
#include <cstdio>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/tokens.h"
#include "platform/interface.h"
#include "protocol/records/distribution.h"

namespace callhome::library {
namespace {

using protocol::ActionResult;
using protocol::ClearSessionRecord;
using protocol::CommitRecord;
using protocol::DistributionRecord;
using protocol::Opcode;
using protocol::Operation;
using protocol::SessionAction;
using protocol::Status;

constexpr int most_polls = 10;
constexpr unsigned poll_interval = 1;  // seconds

// By ActionResult. The first name belongs to no result and is what displays have always shown for 0.
constexpr std::array result_names{"PERIODIC_CONFIGURATION", "none", "success", "fail", "inprogress"};

const char* result_name(std::uint32_t result) {
    return result < result_names.size() ? result_names[result] : "unknown";
}

struct ActionKeyword {
    std::uint32_t keyword;
    SessionAction action;
};

constexpr std::array action_keywords{
    ActionKeyword{keyword_commit, SessionAction::commit},
    ActionKeyword{keyword_discard, SessionAction::discard},
};

CommitRecord commit_request(const CommandContext& ctx) {
    CommitRecord record{};
    for (const TokenRecord& token : Tokens(ctx)) {
        for (const ActionKeyword& row : action_keywords) {
            if (token.keyword_id == row.keyword) {
                record.action = static_cast<std::uint32_t>(row.action);
            }
        }
    }
    return record;
}

bool has_keyword(const CommandContext& ctx, std::uint32_t keyword) {
    for (const TokenRecord& token : Tokens(ctx)) {
        if (token.keyword_id == keyword) {
            return true;
        }
    }
    return false;
}

constexpr bool is(std::uint32_t result, ActionResult expected) {
    return result == static_cast<std::uint32_t>(expected);
}

std::uint32_t report_outcome(const CommitRecord& outcome) {
    if (is(outcome.result, ActionResult::success)) {
        return done;
    }
    std::printf("result : %s\ncause : %s\n", result_name(outcome.result),
                sys_err_to_str(static_cast<std::int32_t>(outcome.cause)));
    return failed;
}

// Waits for what comes of the action. An answer that cannot be used, be it a refusal or one that ends
// early, is asked for again: the action goes on without it.
std::uint32_t await_outcome(CommandContext& ctx) {
    for (int poll = 0; poll < most_polls; ++poll) {
        CommitRecord request{};
        Reply<CommitRecord> reply;
        const ServiceStatus status = reply.ask(Opcode::commit, Operation::get, request, ctx);
        if (status == code(Status::transport_failed)) {
            return report(status);
        }
        const CommitRecord* outcome = reply.record();
        if (status != code(Status::ok) || outcome == nullptr) {
            continue;
        }
        if (!is(outcome->result, ActionResult::in_progress)) {
            return report_outcome(*outcome);
        }
        sleep(poll_interval);  // house rule: the service has nothing to wait on
    }
    std::printf("%s %s\n", "please run command \"show callhome last action status\"",
                "to view the status of this command");
    return done;
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_pxd_distribute(CommandContext* ctx) {
    cmd_type = class_configuration;
    const bool switches_off = ctx->no_form != 0 && has_keyword(*ctx, keyword_distribute);
    DistributionRecord record{.enabled = switches_off ? 0U : 1U};
    const ServiceStatus status = send_record(Opcode::distribution, Operation::set, record, *ctx);
    const uint32_t result = report(status);
    if (status == code(Status::no_system_contact)) {
        std::fputs("Please configure sysContact before enabling pxd\n", stderr);
        std::fputs("To configure sysContact, please use snmp-server command\n", stderr);
    }
    return result;
}

uint32_t callhome_pxd_commit(CommandContext* ctx) {
    if (ctx->skip_exec != 0) {
        return done;
    }
    if (ctx->no_form != 0) {
        return refuse_no_form();
    }
    cmd_type = class_configuration;
    CommitRecord request = commit_request(*ctx);
    const ServiceStatus status = send_record(Opcode::commit, Operation::set, request, *ctx);
    return status == code(Status::ok) ? await_outcome(*ctx) : report(status);
}

uint32_t callhome_clear_session(CommandContext* ctx) {
    if (ctx->skip_exec != 0) {
        return done;
    }
    if (ctx->no_form != 0) {
        return refuse_no_form();
    }
    cmd_type = class_configuration;
    ClearSessionRecord record{.whoever_owns_it = has_keyword(*ctx, keyword_clear_session) ? 1U : 0U};
    return report(send_record(Opcode::clear_session, Operation::set, record, *ctx));
}
