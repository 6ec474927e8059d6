#include <array>
#include <cstdio>
#include <span>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "config/profile_name.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/text.h"
#include "frame/tokens.h"
#include "protocol/records/destination_profile.h"

namespace callhome::library {
namespace {

using protocol::AddressRecord;
using protocol::MessageFormat;
using protocol::Opcode;
using protocol::Operation;
using protocol::ProfileRecord;
using protocol::Status;

constexpr std::uint32_t names_a_profile = 1;   // ProfileRecord::lookup_flag
constexpr std::uint32_t address_reserved = 1;  // AddressRecord::reserved
constexpr std::uint32_t full_size = 2500000;   // bytes of a message
constexpr std::uint32_t short_size = 4000;

struct FormatChoice {
    std::uint32_t keyword;
    MessageFormat format;
    std::uint32_t message_size;  // that comes with it
};

constexpr std::array format_choices{
    FormatChoice{keyword_format_xml, MessageFormat::xml, full_size},
    FormatChoice{keyword_format_full_text, MessageFormat::full_text, full_size},
    FormatChoice{keyword_format_short_text, MessageFormat::short_text, short_size},
};

const FormatChoice* format_of(const TokenRecord& token) {
    for (const FormatChoice& choice : format_choices) {
        if (token.keyword_id == choice.keyword) {
            return &choice;
        }
    }
    return nullptr;
}

ProfileRecord key_record() {
    ProfileRecord key{};
    key.lookup_flag = names_a_profile;
    return key;
}

void take_size_and_level(ProfileRecord& record, const TokenRecord& token) {
    if (token.keyword_id == keyword_message_size) {
        set_number(record, &ProfileRecord::message_size, token);
    } else if (token.keyword_id == keyword_message_level) {
        set_number(record, &ProfileRecord::message_level, token);
    }
}

// A key carries the settings of its command as they were typed; only a change of format resets a size.
void describe_in_key(ProfileRecord& key, const TokenRecord& token) {
    take_profile_name(key.name, token);
    take_size_and_level(key, token);
    if (const FormatChoice* choice = format_of(token)) {
        key.format = static_cast<std::uint32_t>(choice->format);
    }
}

void change_profile(ProfileRecord& profile, const TokenRecord& token) {
    take_size_and_level(profile, token);
    if (const FormatChoice* choice = format_of(token)) {
        profile.format = static_cast<std::uint32_t>(choice->format);
        profile.message_size = choice->message_size;
    }
}

void set_defaults(ProfileRecord& profile) {
    profile.transport_methods = protocol::transport_email;
    profile.format = static_cast<std::uint32_t>(MessageFormat::xml);
    profile.message_level = 0;
    profile.message_size = full_size;
}

// The settings of a profile can be set but not removed.
bool names_a_setting(const CommandContext& ctx) {
    for (const TokenRecord& token : Tokens(ctx)) {
        if (token.keyword_id == keyword_message_size || token.keyword_id == keyword_message_level ||
            format_of(token) != nullptr) {
            return true;
        }
    }
    return false;
}

// A profile as the service knows it, to be changed and sent back.
struct FoundProfile {
    ServiceStatus status;    // of the look-up
    ProfileRecord* profile;  // a null pointer when there is nothing to change
};

// `created` is the record for a profile that the service does not know, unless it sends one along.
// `name` is kept apart from the key, which the exchange leaves in transport order.
FoundProfile find_profile(Reply<ProfileRecord>& reply, ProfileRecord& created, ProfileRecord& key,
                          CommandContext& ctx) {
    const FieldText name(key.name);
    const ServiceStatus status = reply.look_up(Opcode::destination_profile, key, ctx);
    ProfileRecord* profile = reply.record();
    if (profile == nullptr && status == code(Status::not_found)) {
        profile = &created;
    }
    if (profile == nullptr) {
        return {status, nullptr};
    }
    profile->trailing_flag = 0;
    if (status == code(Status::not_found)) {
        copy_text(profile->name, name.c_str());
    }
    return {status, profile};
}

std::uint32_t set_profile(ProfileRecord& profile, CommandContext& ctx) {
    return report(send_record(Opcode::destination_profile, Operation::set, profile, ctx));
}

std::uint32_t create_or_change_profile(ProfileRecord& key, CommandContext& ctx) {
    Reply<ProfileRecord> reply;
    ProfileRecord created{};
    const auto [status, profile] = find_profile(reply, created, key, ctx);
    if (status != code(Status::ok) && status != code(Status::not_found)) {
        return report(status);
    }
    if (profile == nullptr) {
        return report_incomplete(reply.length(), sizeof *profile, nothing_changed);
    }
    if (status == code(Status::not_found)) {
        set_defaults(*profile);
    }
    if (ctx.command_id != command_create_profile) {
        for (const TokenRecord& token : Tokens(ctx)) {
            change_profile(*profile, token);
        }
    }
    return set_profile(*profile, ctx);
}

void add_methods(ProfileRecord& profile, std::uint32_t methods) {
    profile.transport_methods |= methods;
}

// A profile always keeps a way out.
void remove_methods(ProfileRecord& profile, std::uint32_t methods) {
    profile.transport_methods &= ~methods;
    if ((profile.transport_methods & (protocol::transport_email | protocol::transport_http)) == 0) {
        profile.transport_methods = protocol::transport_email;
        std::puts("Setting default transport-method: email");
    }
}

std::uint32_t change_methods(ProfileRecord& key, std::uint32_t methods, CommandContext& ctx) {
    Reply<ProfileRecord> reply;
    ProfileRecord created{};
    const auto [status, profile] = find_profile(reply, created, key, ctx);
    const bool is_new = status == code(Status::not_found);
    if (status != code(Status::ok) && !is_new) {
        return report(status);
    }
    if (is_new && ctx.no_form != 0) {
        std::puts("Unknown destination-profile");
        return failed;
    }
    if (profile == nullptr) {
        return report_incomplete(reply.length(), sizeof *profile, nothing_changed);
    }
    if (is_new) {
        set_defaults(*profile);
    }
    if (ctx.no_form != 0) {
        remove_methods(*profile, methods);
    } else {
        add_methods(*profile, methods);
    }
    return set_profile(*profile, ctx);
}

std::uint32_t change_address(Opcode opcode, std::span<const std::uint32_t> address_keywords,
                             CommandContext& ctx) {
    cmd_type = class_configuration;
    AddressRecord record{};
    record.reserved = address_reserved;
    for (const TokenRecord& token : Tokens(ctx)) {
        take_profile_name(record.name, token);
        for (const std::uint32_t keyword : address_keywords) {
            if (token.keyword_id == keyword) {
                copy_text(record.address, text_value(token));
            }
        }
    }
    return report(send_record(opcode, ctx.no_form == 0 ? Operation::set : Operation::remove, record, ctx));
}

constexpr std::array<std::uint32_t, 2> email_keywords{keyword_profile_email_address,
                                                      keyword_profile_address};
constexpr std::array<std::uint32_t, 1> url_keywords{keyword_profile_address};

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_destprofile(CommandContext* ctx) {
    cmd_type = class_configuration;
    if (ctx->no_form != 0 && names_a_setting(*ctx)) {
        return refuse_no_form();
    }
    ProfileRecord key = key_record();
    for (const TokenRecord& token : Tokens(*ctx)) {
        if (ctx->command_id == command_create_profile) {
            copy_text(key.name, text_value(token));
        } else {
            describe_in_key(key, token);
        }
    }
    if (ctx->no_form != 0) {
        return report(send_record(Opcode::destination_profile, Operation::remove, key, *ctx));
    }
    return create_or_change_profile(key, *ctx);
}

uint32_t callhome_destprofile_email(CommandContext* ctx) {
    return change_address(Opcode::profile_email, email_keywords, *ctx);
}

uint32_t callhome_destprofile_url(CommandContext* ctx) {
    return change_address(Opcode::profile_url, url_keywords, *ctx);
}

uint32_t callhome_destprofile_transport_method(CommandContext* ctx) {
    cmd_type = class_configuration;
    ProfileRecord key = key_record();
    std::uint32_t methods = callhome::protocol::transport_email;
    for (const TokenRecord& token : Tokens(*ctx)) {
        take_profile_name(key.name, token);
        if (token.keyword_id == keyword_transport_email) {
            methods = callhome::protocol::transport_email;
        } else if (token.keyword_id == keyword_transport_http) {
            methods = callhome::protocol::transport_http;
        }
    }
    return change_methods(key, methods, *ctx);
}
