#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "config/profile_name.h"
#include "display/generator.h"
#include "display/walk.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/text.h"
#include "platform/interface.h"

namespace callhome::library {
namespace {

using protocol::AddressRecord;
using protocol::MessageFormat;
using protocol::Opcode;
using protocol::ProfileRecord;
using protocol::Status;
using protocol::SubscriptionRecord;

constexpr std::uint32_t default_size_of_user_profiles = 2500000;  // bytes of a message

// How the lines of a built-in profile differ from those of the others.
struct BuiltInLines {
    const char* profile;  // in records
    // The name in all lines but that of the level, which carries the record's.
    const char* name;
    const char* before_level;  // one blank or two: the line is known in this form
    std::uint32_t default_size;
    const char* default_group;
};

constexpr BuiltInLines zuva_lines{zuva_profile_name, zuva_profile_name, "  ", 5000000, "ZUVA-TAC"};
constexpr BuiltInLines full_text_lines{full_text_profile_name, "full-txt-destination", " ", 2500000, "all"};
constexpr BuiltInLines short_text_lines{short_text_profile_name, "short-txt-destination", " ", 4000, "all"};

void write_line(const char* profile, const char* before, const char* setting, const char* value) {
    cfgout_buf_printf("destination-profile %s%s%s %s\n", profile, before, setting, value);
    pxd_data_present = 1;
}

void write_line(const char* profile, const char* before, const char* setting, std::int32_t value) {
    cfgout_buf_printf("destination-profile %s%s%s %" PRId32 "\n", profile, before, setting, value);
    pxd_data_present = 1;
}

void write_size(const char* profile, std::uint32_t size, std::uint32_t default_size) {
    if (size != default_size) {
        write_line(profile, " ", "message-size", static_cast<std::int32_t>(size));
    }
}

void write_level(const char* profile, const char* before, std::uint8_t level) {
    if (level != 0) {
        write_line(profile, before, "message-level", static_cast<std::int8_t>(level));
    }
}

// A profile of the user's own exists by this line, so it is also written when it says the default.
void write_format(const char* profile, std::uint32_t format) {
    switch (static_cast<MessageFormat>(format)) {
        case MessageFormat::full_text:
            write_line(profile, " ", "format", "full-txt");
            break;
        case MessageFormat::short_text:
            write_line(profile, " ", "format", "short-txt");
            break;
        case MessageFormat::xml:
            write_line(profile, " ", "format", "XML");
            break;
        default:
            break;
    }
}

template <typename Record>
std::int32_t fail(Step step, const Walk<Record>& walk) {
    if (step == Step::refused) {
        return generator_failure(walk.status());
    }
    if (step == Step::incomplete) {
        return incomplete_for_generator(walk.length(), sizeof(Record));
    }
    return endless_for_generator(name_of_list(walk.opcode()));
}

template <typename Record>
Walk<Record> begin_walk(Opcode opcode, const char* profile) {
    return Walk<Record>(opcode, get_next_operation(), Reader::generator, profile);
}

std::int32_t write_addresses(const char* profile, const char* name, CommandContext& ctx) {
    auto walk = begin_walk<AddressRecord>(Opcode::profile_email, profile);
    Step step = walk.next(ctx);
    for (; step == Step::entry; step = walk.next(ctx)) {
        write_line(name, " ", "email-addr", text_of(walk.entry()).c_str());
    }
    return is_failure(step) ? fail(step, walk) : code(Status::ok);
}

// `last_step` tells how the list ended.
std::int32_t write_groups(const char* profile, const char* name, const char* left_out, Step& last_step,
                          CommandContext& ctx) {
    auto walk = begin_walk<SubscriptionRecord>(Opcode::alert_group, profile);
    last_step = walk.next(ctx);
    for (; last_step == Step::entry; last_step = walk.next(ctx)) {
        const auto group = text_of(walk.entry());
        if (left_out == nullptr || std::strcmp(group.c_str(), left_out) != 0) {
            write_line(name, " ", "alert-group", group.c_str());
        }
    }
    return is_failure(last_step) ? fail(last_step, walk) : code(Status::ok);
}

bool is_built_in(const char* profile) {
    return std::any_of(built_in_profiles.begin(), built_in_profiles.end(),
                       [&](const BuiltInProfile& row) { return std::strcmp(profile, row.name) == 0; });
}

std::int32_t write_user_profile(const ProfileRecord& profile, CommandContext& ctx) {
    const FieldText text(profile.name);
    const char* name = text.c_str();
    write_size(name, profile.message_size, default_size_of_user_profiles);
    write_format(name, profile.format);
    write_level(name, " ", profile.message_level);
    const std::int32_t result = write_addresses(name, name, ctx);
    Step ignored{};
    return result != code(Status::ok) ? result : write_groups(name, name, nullptr, ignored, ctx);
}

std::int32_t write_lists_of_built_in(const BuiltInLines& lines, CommandContext& ctx) {
    std::int32_t result = write_addresses(lines.profile, lines.name, ctx);
    if (result != code(Status::ok)) {
        return result;
    }
    Step last_step{};
    result = write_groups(lines.profile, lines.name, lines.default_group, last_step, ctx);
    if (last_step == Step::end) {
        std::fputs("\n", stdout);
    }
    return result;
}

std::int32_t generate_built_in(const BuiltInLines& lines, CommandContext& ctx) {
    cmd_type = class_exec;
    ProfileRecord request{};
    copy_text(request.name, lines.profile);
    Reply<ProfileRecord> reply;
    const ServiceStatus status = reply.ask(Opcode::destination_profile, get_operation(), request, ctx);
    if (status == code(Status::distribution_off)) {
        return status;
    }
    // A pending copy may hold entries of a profile that it does not hold itself.
    const bool has_lists_only = status == code(Status::not_found) && print_running_config == 0;
    if (status != code(Status::ok) && !has_lists_only) {
        return generator_failure(status);
    }
    if (!has_lists_only) {
        const ProfileRecord* profile = reply.record();
        if (profile == nullptr) {
            return incomplete_for_generator(reply.length(), sizeof request);
        }
        write_level(FieldText(profile->name).c_str(), lines.before_level, profile->message_level);
        write_size(lines.name, profile->message_size, lines.default_size);
    }
    return write_lists_of_built_in(lines, ctx);
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

int32_t callhome_asciigen_destprofile_xml(CommandContext* ctx) {
    return generate_built_in(zuva_lines, *ctx);
}

int32_t callhome_asciigen_destprofile_fulltxt(CommandContext* ctx) {
    return generate_built_in(full_text_lines, *ctx);
}

int32_t callhome_asciigen_destprofile_shorttxt(CommandContext* ctx) {
    return generate_built_in(short_text_lines, *ctx);
}

int32_t callhome_asciigen_destprofile(CommandContext* ctx) {
    cmd_type = class_exec;
    auto walk = begin_walk<ProfileRecord>(Opcode::destination_profile, "");
    Step step = walk.next(*ctx);
    for (; step == Step::entry; step = walk.next(*ctx)) {
        if (is_built_in(FieldText(walk.entry().name).c_str())) {
            continue;
        }
        const std::int32_t result = write_user_profile(walk.entry(), *ctx);
        if (result != code(callhome::protocol::Status::ok)) {
            return result;
        }
    }
    return is_failure(step) ? fail(step, walk) : code(callhome::protocol::Status::ok);
}
