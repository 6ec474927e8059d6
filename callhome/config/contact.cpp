#include <array>
#include <cstdio>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/text.h"
#include "frame/tokens.h"
#include "protocol/records/contact.h"

namespace callhome::library {
namespace {

using protocol::ContactRecord;
using protocol::Opcode;
using protocol::Operation;
using protocol::Status;

struct ContactField {
    std::uint32_t keyword;
    const char* mib_name;
};

constexpr std::array contact_fields{
    ContactField{keyword_site_id, "siteId"},
    ContactField{keyword_contract_id, "contractId"},
    ContactField{keyword_customer_id, "custId"},
    ContactField{keyword_phone_contact, "sysContactPhoneNumber"},
    ContactField{keyword_email_contact, "sysContactEmail"},
    ContactField{keyword_street_address, "sysStreetAddress"},
    ContactField{keyword_switch_priority, "priority"},
};

void take_value(ContactRecord& record, const TokenRecord& token) {
    switch (token.keyword_id) {
        case keyword_contact_text_1:
        case keyword_contact_text_2:
        case keyword_contact_text_3:
        case keyword_contact_text_4:
        case keyword_contact_text_5:
        case keyword_contact_text_6:
            copy_text(record.value, text_value(token));
            break;
        case keyword_switch_priority_value:
            if (const auto number = number_value<std::int32_t>(token)) {
                std::snprintf(record.value, sizeof record.value, "%d", *number);
            }
            break;
        default:
            break;
    }
}

void take_token(ContactRecord& record, const TokenRecord& token) {
    for (const ContactField& field : contact_fields) {
        if (token.keyword_id == field.keyword) {
            copy_text(record.name, field.mib_name);
            return;
        }
    }
    take_value(record, token);
}

std::uint32_t set_field(ContactRecord& record, CommandContext& ctx) {
    const ServiceStatus status = send_record(Opcode::contact_field, Operation::set, record, ctx);
    const std::uint32_t result = report(status);
    if (status == code(Status::distribution_on)) {
        std::puts("please disable pxd distribution for callhome");
        std::puts("and run this command");
    }
    return result;
}

std::uint32_t remove_field(ContactRecord& record, CommandContext& ctx) {
    if (send_record(Opcode::contact_field, Operation::remove, record, ctx) == code(Status::ok)) {
        return done;
    }
    // The last line names the one field that enabling needs, whichever was to be removed.
    std::puts("Parameter not set or Callhome enabled");
    std::puts("The following fields cannot be deleted while callhome is enabled");
    std::puts("email-contact");
    return failed;
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_info(CommandContext* ctx) {
    cmd_type = class_configuration;
    ContactRecord record{};
    for (const TokenRecord& token : Tokens(*ctx)) {
        take_token(record, token);
    }
    return ctx->no_form == 0 ? set_field(record, *ctx) : remove_field(record, *ctx);
}
