#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "callhome/handlers.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/text.h"
#include "frame/tokens.h"
#include "platform/interface.h"

namespace callhome::library {
namespace {

constexpr std::size_t type_size = 32;   // bytes, terminator included
constexpr std::size_t text_size = 128;  //

struct EventType {
    std::string_view name;
    const char* alert;
};

constexpr std::string_view syslog_type = "syslog";

constexpr std::array event_types{
    EventType{syslog_type, "SYSLOG_ALERT"},
    EventType{"diagnostic", "TEMO-normal"},
    EventType{"inventory", "HARDWARE_INSERTION"},
    EventType{"environment", "TEMPERATURE_MINOR_ALARM"},
    EventType{"configuration", "PERIODIC_CONFIGURATION"},
};

constexpr const char* event_source = "fake event";
constexpr const char* syslog_source = "ethport";
constexpr std::uint32_t syslog_severity = 2;  // critical, as the system log counts

struct Event {
    char type[type_size] = {};
    char text[text_size] = {};
};

Event event_of(const CommandContext& ctx) {
    Event event;
    for (const TokenRecord& token : Tokens(ctx)) {
        if (token.keyword_id == keyword_event_type) {
            copy_text(event.type, text_value(token));
        } else if (token.keyword_id == keyword_event_text) {
            copy_text(event.text, text_value(token));
        }
    }
    return event;
}

// Nobody waits for what becomes of it: messages and receivers are to be seen in the displays.
void raise(const EventType& type, const char* text, std::uint32_t transport_handle) {
    if (type.name == syslog_type) {
        ch_post_syslog_alert(transport_handle, syslog_source, syslog_severity, text);
    } else {
        ch_post_alert(transport_handle, type.alert, event_source, text, nullptr);
    }
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t ch_trigger_event(CommandContext* ctx) {
    if (ctx->active_sup != active) {
        std::fputs(command_on_active_sup_only, stderr);
        return failed;
    }
    const Event event = event_of(*ctx);
    if (event.type[0] == '\0') {
        std::fputs("No event type supplied.\n", stderr);
        return done;
    }
    const auto* type = std::find_if(event_types.begin(), event_types.end(),
                                    [&](const EventType& row) { return row.name == event.type; });
    if (type == event_types.end()) {
        std::fprintf(stderr, "event type \"%s\" not supported.\n", event.type);
        return done;
    }
    raise(*type, event.text, ctx->transport_handle);
    return done;
}
