#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstring>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "config/profile_name.h"
#include "display/output.h"
#include "display/walk.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/text.h"
#include "frame/tokens.h"

namespace callhome::library {
namespace {

using protocol::AddressRecord;
using protocol::MessageFormat;
using protocol::Opcode;
using protocol::Operation;
using protocol::ProfileRecord;
using protocol::Status;
using protocol::SubscriptionRecord;

// The lines of a profile in their order, which is also that of their tags.
enum class Line : std::uint8_t {
    message_size,
    message_format,
    message_level,
    transport_method,
    email_heading,
    email_entry,
    url_heading,
    url_entry,
    group_heading,
    group_entry,
};

// What a show command changes against the others.
struct Display {
    const char* handler;
    const char* built_in;    // the profile that is shown; null when the command names it, or all are shown
    std::uint32_t header;    // tag
    std::uint32_t settings;  // tag of Line::message_size
    bool has_format_line;    // the format of a built-in profile is known
    // What follows the number of a refusal, which scripts tell the commands by.
    const char* profile_refusal_end;
    const char* address_refusal_end;
    const char* group_refusal_end;
};

constexpr Display all_profiles{
    "callhome_show_destprofile", nullptr, 0x3074001C, 0x3074001D, true, "", "", ""};
constexpr Display named_profile{
    "callhome_show_user_destprofile", nullptr, 0x30740046, 0x30740047, true, "", "", ""};
constexpr Display full_text_profile{"callhome_show_destprofile_fulltxt",
                                    full_text_profile_name,
                                    0x30740027,
                                    0x30740028,
                                    false,
                                    "",
                                    "\n",
                                    ""};
constexpr Display short_text_profile{"callhome_show_destprofile_shorttxt",
                                     short_text_profile_name,
                                     0x30740031,
                                     0x30740032,
                                     false,
                                     "\n",
                                     "",
                                     ""};
constexpr Display zuva_profile{
    "callhome_show_destprofile_xml", zuva_profile_name, 0x3074003B, 0x3074003C, false, "", "", ""};

// How the listing of all profiles marks the built-in ones.
struct ListedHeader {
    const char* profile;
    std::uint32_t tag;
    const char* before;  // only the first one stands behind an empty line
};

constexpr std::array listed_headers{
    ListedHeader{full_text_profile_name, 0x30740019, "\n"},
    ListedHeader{short_text_profile_name, 0x3074001A, ""},
    ListedHeader{zuva_profile_name, 0x3074001B, ""},
};

std::uint32_t tag_of(const Display& display, Line line) {
    const auto place = static_cast<std::uint32_t>(line);
    const bool behind_missing_line = !display.has_format_line && line > Line::message_format;
    return display.settings + place - (behind_missing_line ? 1 : 0);
}

void print_header(std::uint32_t tag, const char* before, const char* profile) {
    print_line(tag, "%s%s destination profile information\n", before, profile);
}

void print_listed_header(const char* profile) {
    for (const ListedHeader& header : listed_headers) {
        if (std::strcmp(profile, header.profile) == 0) {
            print_header(header.tag, header.before, profile);
            return;
        }
    }
    print_header(all_profiles.header, "", profile);
}

// A format that nobody knows leaves the line in `buffer` as it is, so that the size is shown once more.
void print_format(std::uint32_t tag, std::uint32_t format) {
    switch (static_cast<MessageFormat>(format)) {
        case MessageFormat::full_text:
            print_line(tag, "message format:full-txt\n");
            break;
        case MessageFormat::short_text:
            print_line(tag, "message format:short-txt\n");
            break;
        case MessageFormat::xml:
            print_line(tag, "message format:XML\n");
            break;
        default:
            print_tuple(tag, "%s", buffer);
            break;
    }
}

const char* name_of_methods(std::uint32_t methods) {
    constexpr std::array names{"", "email", "http", "email and http"};
    return names[std::min<std::size_t>(methods, names.size() - 1)];
}

void print_settings(const Display& display, const ProfileRecord& profile) {
    print_line(tag_of(display, Line::message_size), "maximum message size:%" PRId32 "\n",
               static_cast<std::int32_t>(profile.message_size));
    if (display.has_format_line) {
        print_format(tag_of(display, Line::message_format), profile.format);
    }
    print_line(tag_of(display, Line::message_level), "message-level:%d\n",
               static_cast<std::int8_t>(profile.message_level));
    print_line(tag_of(display, Line::transport_method), "transport-method:%s\n",
               name_of_methods(profile.transport_methods));
}

// Says why a walk failed.
template <typename Record>
std::uint32_t fail(Step step, const Walk<Record>& walk, const char* refusal_end) {
    if (step == Step::refused) {
        print_refusal(walk.status(), refusal_end);
    } else if (step == Step::incomplete) {
        print_incomplete(walk.length(), sizeof(Record));
    } else {
        print_line(tag_error, "The list of %s has no end; the display ends here\n",
                   name_of_list(walk.opcode()));
    }
    return failed;
}

// One list of a profile.
struct List {
    Opcode opcode;
    const char* heading;
    Line heading_line;
    Line entry_line;
};

constexpr List email_list{Opcode::profile_email, "email addresses configured:\n", Line::email_heading,
                          Line::email_entry};
constexpr List url_list{Opcode::profile_url, "url addresses configured:\n", Line::url_heading,
                        Line::url_entry};
constexpr List group_list{Opcode::alert_group, "alert groups configured:\n", Line::group_heading,
                          Line::group_entry};

template <typename Record>
std::uint32_t show_list(const Display& display, const List& list, const char* profile,
                        const char* refusal_end, CommandContext& ctx) {
    print_line(tag_of(display, list.heading_line), "%s", list.heading);
    Walk<Record> walk(list.opcode, Operation::get_next, Reader::display, profile);
    Step step = walk.next(ctx);
    for (; step == Step::entry; step = walk.next(ctx)) {
        print_line(tag_of(display, list.entry_line), "%s\n", text_of(walk.entry()).c_str());
    }
    if (is_failure(step)) {
        return fail(step, walk, refusal_end);
    }
    if (step == Step::end) {
        print_empty_line();
    }
    return done;
}

// The lists of a profile, each walked by the name that it is asked for by.
std::uint32_t show_lists(const Display& display, const char* profile, const char* profile_of_groups,
                         CommandContext& ctx) {
    const char* address_end = display.address_refusal_end;
    if (show_list<AddressRecord>(display, email_list, profile, address_end, ctx) != done ||
        show_list<AddressRecord>(display, url_list, profile, address_end, ctx) != done) {
        return failed;
    }
    return show_list<SubscriptionRecord>(display, group_list, profile_of_groups, display.group_refusal_end,
                                         ctx);
}

std::uint32_t show_all(CommandContext& ctx) {
    const Display& display = all_profiles;
    Walk<ProfileRecord> walk(Opcode::destination_profile, Operation::get_next, Reader::display, "");
    Step step = walk.next(ctx);
    for (; step == Step::entry; step = walk.next(ctx)) {
        const FieldText name(walk.entry().name);
        print_listed_header(name.c_str());
        print_settings(display, walk.entry());
        if (show_lists(display, name.c_str(), name.c_str(), ctx) != done) {
            return failed;
        }
    }
    if (is_failure(step)) {
        return fail(step, walk, display.profile_refusal_end);
    }
    print_empty_line();
    return done;
}

std::uint32_t show_one(const Display& display, const char* name, CommandContext& ctx) {
    ProfileRecord request{};
    copy_text(request.name, name);
    Reply<ProfileRecord> reply;
    const ServiceStatus status = reply.ask(Opcode::destination_profile, Operation::get, request, ctx);
    if (display.built_in != nullptr) {
        print_header(display.header, "", name);  // also above an error
    }
    if (status != code(Status::ok)) {
        print_refusal(status, display.profile_refusal_end);
        return failed;
    }
    if (reply.record() == nullptr) {
        print_incomplete(reply.length(), sizeof request);
        return failed;
    }
    const FieldText found(reply.record()->name);
    if (display.built_in == nullptr) {
        print_header(display.header, "", found.c_str());
    }
    print_settings(display, *reply.record());
    const char* name_of_groups = display.built_in == nullptr ? name : found.c_str();
    if (show_lists(display, name, name_of_groups, ctx) != done) {
        return failed;
    }
    print_empty_line();
    return done;
}

// The name in the last token, or a null pointer. The form alone says that the tokens are names.
const char* name_in_command(const CommandContext& ctx) {
    const char* name = nullptr;
    for (const TokenRecord& token : Tokens(ctx)) {
        if (ctx.command_id == command_show_profile && token.value != nullptr) {
            name = text_value(token);
        }
    }
    return name;
}

std::uint32_t show_named(CommandContext& ctx) {
    const char* typed = name_in_command(ctx);
    if (typed == nullptr) {
        print_line(tag_error, "Invalid destination profile id\n");
        return failed;
    }
    char name[sizeof ProfileRecord::name] = {};
    copy_text(name, typed);
    return show_one(named_profile, name, ctx);
}

std::uint32_t show_built_in(const Display& display, CommandContext& ctx) {
    return run_display(ctx, display.handler, __LINE__,
                       [&] { return show_one(display, display.built_in, ctx); });
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_show_destprofile(CommandContext* ctx) {
    return run_display(*ctx, all_profiles.handler, __LINE__, [&] { return show_all(*ctx); });
}

uint32_t callhome_show_user_destprofile(CommandContext* ctx) {
    return run_display(*ctx, named_profile.handler, __LINE__, [&] { return show_named(*ctx); });
}

uint32_t callhome_show_destprofile_fulltxt(CommandContext* ctx) {
    return show_built_in(full_text_profile, *ctx);
}

uint32_t callhome_show_destprofile_shorttxt(CommandContext* ctx) {
    return show_built_in(short_text_profile, *ctx);
}

uint32_t callhome_show_destprofile_xml(CommandContext* ctx) {
    return show_built_in(zuva_profile, *ctx);
}
