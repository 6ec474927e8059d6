#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/tokens.h"
#include "protocol/records/inventory.h"

namespace callhome::library {
namespace {

using protocol::Opcode;
using protocol::Operation;
using protocol::PeriodicInventoryRecord;
using protocol::Status;

constexpr std::size_t time_length = 5;  // HH:MM
constexpr std::size_t colon_place = 2;
constexpr unsigned last_hour = 23;
constexpr unsigned last_minute = 59;
constexpr unsigned minutes_per_hour = 60;
constexpr int decimal = 10;

// The number that a half of the time begins with, blanks and a sign allowed; a negative one is huge.
std::optional<unsigned> number_in(const std::string& half) {
    char* end = nullptr;
    const long number = std::strtol(half.c_str(), &end, decimal);
    return end == half.c_str() ? std::nullopt : std::optional(static_cast<unsigned>(number));
}

struct TimeOfDay {
    unsigned hours;
    unsigned minutes;
};

std::optional<TimeOfDay> parse_time(const char* text) {
    if (strnlen(text, time_length + 1) != time_length || text[colon_place] != ':') {
        return std::nullopt;
    }
    const auto hours = number_in({text, colon_place});
    const auto minutes = number_in(text + colon_place + 1);
    return hours && minutes ? std::optional(TimeOfDay{*hours, *minutes}) : std::nullopt;
}

// False when the time was refused.
bool take_time(PeriodicInventoryRecord& inventory, const TokenRecord& token) {
    if (text_value(token) == nullptr) {
        return true;
    }
    const std::optional<TimeOfDay> time = parse_time(text_value(token));
    if (!time) {
        std::fputs("invalid timeofday: should be in ----HH:MM---- format (hours 00:00 to 23:59)\n", stderr);
        return false;
    }
    if (time->hours > last_hour || time->minutes > last_minute) {
        std::fputs("timeofday out of range error\n", stderr);
        return false;
    }
    inventory.time_of_day = time->hours * minutes_per_hour + time->minutes;
    return true;
}

// False when a token was refused. A period or a time alone leaves the notification as it is: it is switched
// on only by the keyword that stands last.
bool change_inventory(PeriodicInventoryRecord& inventory, const CommandContext& ctx) {
    bool switches_on = false;
    for (const TokenRecord& token : Tokens(ctx)) {
        const bool is_period = token.keyword_id == keyword_inventory_period;
        const bool is_time = token.keyword_id == keyword_inventory_time_of_day;
        if ((is_period || is_time) && ctx.no_form != 0) {
            refuse_no_form();
            return false;
        }
        if (is_period) {
            set_number(inventory, &PeriodicInventoryRecord::time_period, token);
            switches_on = false;
        } else if (is_time) {
            if (!take_time(inventory, token)) {
                return false;
            }
            switches_on = false;
        } else if (token.keyword_id == keyword_inventory_notification) {
            switches_on = true;
        }
    }
    if (ctx.no_form != 0) {
        inventory.notification = 0;
    } else if (switches_on) {
        inventory.notification = 1;
    }
    inventory.trailing_flag = 0;
    return true;
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_periodic_inventory(CommandContext* ctx) {
    cmd_type = class_configuration;
    PeriodicInventoryRecord request{};
    Reply<PeriodicInventoryRecord> reply;
    const ServiceStatus status = reply.look_up(Opcode::periodic_inventory, request, *ctx);
    if (status != code(Status::ok)) {
        return report(status);
    }
    PeriodicInventoryRecord* inventory = reply.record();
    if (inventory == nullptr) {
        return report_incomplete(reply.length(), sizeof *inventory, nothing_changed);
    }
    if (!change_inventory(*inventory, *ctx)) {
        return failed;
    }
    return report(send_record(Opcode::periodic_inventory, Operation::set, *inventory, *ctx));
}
