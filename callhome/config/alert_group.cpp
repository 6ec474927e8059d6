#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "config/profile_name.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/text.h"
#include "frame/tokens.h"
#include "protocol/alert_group.h"
#include "protocol/records/alert_group.h"
#include "protocol/records/destination_profile.h"

using namespace callhome::library;

constexpr AlertGroupRow alert_group_list[CALLHOME_ALERT_GROUPS] = {
    {keyword_group_system, "system"},
    {keyword_group_environmental, "environmental"},
    {keyword_group_linecard_hardware, "linecard-hardware"},
    {keyword_group_supervisor_hardware, "supervisor-hardware"},
    {keyword_group_inventory, "inventory"},
    {keyword_group_test, "test"},
    {keyword_group_all, "all"},
    {keyword_group_zuva_tac, "ZUVA-TAC"},
    {keyword_group_license, "license"},
    {keyword_group_syslog_group_port, "syslog-group-port"},
    {keyword_group_configuration, "configuration"},
    {keyword_group_diagnostic, "Diagnostic"},
    {keyword_group_obx, "OBX"},
    {keyword_group_rmon, "RMON"},
    {keyword_group_life_cycle, "life-cycle"},
    {keyword_group_pelago, "pelago"},
    {keyword_group_crash, "crash"},
};

namespace callhome::library {
namespace {

using protocol::Opcode;
using protocol::Operation;
using protocol::ProfileRecord;
using protocol::Status;
using protocol::SubscriptionRecord;

// Subscriptions go by this table, also in a process that brings a list of its own.
constexpr auto groups = std::to_array(alert_group_list);
static_assert(std::ranges::equal(groups, protocol::alert_group_names, {},
                                 [](const AlertGroupRow& row) { return std::string_view(row.name); }),
              "the list names the groups as the service does");

constexpr std::uint32_t names_a_profile = 1;        // ProfileRecord::lookup_flag
constexpr std::uint32_t subscription_reserved = 1;  // SubscriptionRecord::reserved

bool is_profile(const TokenRecord& token) {
    return token.keyword_id == keyword_user_profile ||
           std::ranges::find(built_in_profiles, token.keyword_id, &BuiltInProfile::keyword) !=
               built_in_profiles.end();
}

struct Subscription {
    SubscriptionRecord record{};
    bool is_of_zuva_profile = false;
    bool is_to_tac_group = false;
};

Subscription subscription_of(const CommandContext& ctx) {
    Subscription subscription;
    subscription.record.reserved = subscription_reserved;
    for (const TokenRecord& token : Tokens(ctx)) {
        take_profile_name(subscription.record.name, token);
        if (is_profile(token)) {
            subscription.is_of_zuva_profile = token.keyword_id == keyword_zuva_profile;
        }
        const auto* group = std::ranges::find(groups, token.keyword_id, &AlertGroupRow::keyword_id);
        if (group != groups.end()) {
            copy_text(subscription.record.group, group->name);
            subscription.is_to_tac_group = group->keyword_id == keyword_group_zuva_tac;
        }
    }
    return subscription;
}

// A subscription must not bring a profile into being.
ServiceStatus look_for_profile(const char (&name)[sizeof SubscriptionRecord::name], CommandContext& ctx) {
    ProfileRecord key{};
    key.lookup_flag = names_a_profile;
    copy_text(key.name, name);
    Reply<ProfileRecord> reply;
    return reply.look_up(Opcode::destination_profile, key, ctx);
}

}  // namespace
}  // namespace callhome::library

uint32_t callhome_alert_groups(CommandContext* ctx) {
    cmd_type = class_configuration;
    auto [record, is_of_zuva_profile, is_to_tac_group] = subscription_of(*ctx);
    if (is_of_zuva_profile && !is_to_tac_group) {
        std::fprintf(stderr, "%s destination profile can be configured with only %s alert-group\n",
                     "ZUVA-profile", "ZUVA-TAC");
        return done;  // a configuration script goes on, here and below
    }
    if (ctx->no_form != 0) {
        return report(send_record(Opcode::alert_group, Operation::remove, record, *ctx));
    }
    const ServiceStatus status = look_for_profile(record.name, *ctx);
    if (status == code(Status::not_found)) {
        std::fputs("alert group cannot be configured for a new destination profile\n", stderr);
        return done;
    }
    if (status != code(Status::ok)) {
        return report(status);
    }
    return report(send_record(Opcode::alert_group, Operation::set, record, *ctx));
}
