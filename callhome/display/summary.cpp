#include <arpa/inet.h>

#include <algorithm>
#include <cinttypes>
#include <cstddef>
#include <cstring>
#include <utility>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "display/output.h"
#include "display/time_of_day.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/text.h"
#include "protocol/records/contact.h"
#include "protocol/records/distribution.h"
#include "protocol/records/feature.h"
#include "protocol/records/inventory.h"
#include "protocol/records/privacy.h"

namespace callhome::library {
namespace {

using protocol::ContactRecord;
using protocol::DistributionRecord;
using protocol::Opcode;
using protocol::Operation;
using protocol::PeriodicInventoryRecord;
using protocol::PrivacyRecord;
using protocol::PrivacyReply;
using protocol::Status;
using protocol::SwitchRecord;

enum Tag : std::uint32_t {
    tag_feature = 0x30740001,
    tag_contact_heading = 0x30740002,
    tag_first_contact_label = 0x30740003,  // two tags a row of the contact table: label, value
    tag_first_contact_value = 0x30740004,
    tag_throttle = 0x30740013,
    tag_inventory = 0x30740014,
    tag_inventory_period = 0x30740015,
    tag_inventory_time = 0x30740016,
    tag_distribution = 0x30740017,
    tag_privacy = 0x30740018,
};

constexpr std::uint32_t tags_of_a_contact_row = 2;

const char* in_words(std::uint32_t enabled) {
    return enabled != 0 ? "enabled" : "disabled";
}

// Asks for a record. Without one the error line has been printed, by `print_refusal_line` if there was
// a refusal.
template <typename Record, typename Request>
const Record* ask_for(Reply<Record, Request>& reply, Opcode opcode, CommandContext& ctx,
                      void (*print_refusal_line)(ServiceStatus)) {
    Request request{};
    const ServiceStatus status = reply.ask(opcode, Operation::get, request, ctx);
    if (status != code(Status::ok)) {
        print_refusal_line(status);
        return nullptr;
    }
    if (reply.record() == nullptr) {
        print_incomplete(reply.length(), sizeof(Record));
    }
    return reply.record();
}

void print_number_line(ServiceStatus status) {
    print_refusal(status, "\n");
}

// From the periodic inventory on, an empty line follows the number.
void print_number_and_empty_line(ServiceStatus status) {
    if (status == code(Status::transport_failed)) {
        print_number_line(status);
        return;
    }
    format_line("%" PRId32 "\n", status);
    print_tuple(tag_error, "%s\n", buffer);
}

// With distribution off, this shows the line that an earlier command has left; scripts know that.
void print_feature_refusal(ServiceStatus status) {
    if (status == code(Status::distribution_off)) {
        print_tuple(tag_error, "%s", buffer);
    } else {
        print_number_line(status);
    }
}

bool show_feature(CommandContext& ctx) {
    Reply<SwitchRecord> reply;
    const SwitchRecord* feature = ask_for(reply, Opcode::feature_state, ctx, print_feature_refusal);
    if (feature != nullptr) {
        print_line(tag_feature, "callhome %s\n", in_words(feature->enabled));
    }
    return feature != nullptr;
}

bool show_contact_field(std::uint32_t row, CommandContext& ctx) {
    ContactRecord request{};
    copy_text(request.name, callhome_info_table[row].mib_name);
    Reply<ContactRecord> reply;
    const ServiceStatus status = reply.ask(Opcode::contact_field, Operation::get, request, ctx);
    if (status != code(Status::ok) && status != code(Status::not_found)) {
        print_number_line(status);
        return false;
    }
    if (status == code(Status::ok) && reply.record() == nullptr) {
        print_incomplete(reply.length(), sizeof request);
        return false;
    }
    callhome_show_table_info(row, status, h, reply.text_from(0));
    return true;
}

bool show_contact(CommandContext& ctx) {
    print_line(tag_contact_heading, "Callhome Information:\n");
    for (int row = 0; row < callhome_info_table_size; ++row) {
        if (!show_contact_field(static_cast<std::uint32_t>(row), ctx)) {
            return false;
        }
    }
    return true;
}

bool show_throttle(CommandContext& ctx) {
    Reply<SwitchRecord> reply;
    const SwitchRecord* throttle = ask_for(reply, Opcode::duplicate_throttle, ctx, print_number_line);
    if (throttle != nullptr) {
        print_line(tag_throttle, "duplicate message throttling : %s\n", in_words(throttle->enabled));
    }
    return throttle != nullptr;
}

bool show_periodic_inventory(CommandContext& ctx) {
    Reply<PeriodicInventoryRecord> reply;
    const PeriodicInventoryRecord* inventory =
        ask_for(reply, Opcode::periodic_inventory, ctx, print_number_and_empty_line);
    if (inventory == nullptr) {
        return false;
    }
    const auto days = static_cast<std::int32_t>(inventory->time_period);
    print_line(tag_inventory, "periodic inventory : %s\n", in_words(inventory->notification));
    print_line(tag_inventory_period, "periodic inventory time-period : %" PRId32 " %s\n", days,
               days == 1 ? "day" : "days");
    print_line(tag_inventory_time, "periodic inventory timeofday : %s (HH:MM)\n",
               TimeOfDay(inventory->time_of_day).c_str());
    return true;
}

bool show_distribution(CommandContext& ctx) {
    Reply<DistributionRecord> reply;
    const DistributionRecord* distribution =
        ask_for(reply, Opcode::distribution, ctx, print_number_and_empty_line);
    if (distribution != nullptr) {
        print_line(tag_distribution, "Distribution : %s\n",
                   distribution->enabled != 0 ? "Enabled" : "Disabled");
    }
    return distribution != nullptr;
}

bool show_privacy(CommandContext& ctx) {
    Reply<PrivacyReply, PrivacyRecord> reply;
    const PrivacyReply* privacy = ask_for(reply, Opcode::data_privacy, ctx, print_number_and_empty_line);
    if (privacy == nullptr) {
        return false;
    }
    std::uint32_t flags = 0;
    std::memcpy(&flags, privacy->flags, sizeof flags);
    flags = ntohl(flags);
    print_line(tag_privacy, "Data-privacy : %s%s\n",
               (flags & protocol::privacy_high) != 0 ? "high" : "normal",
               (flags & protocol::privacy_host_name) != 0 ? " and hostname" : "");
    return true;
}

std::uint32_t show_summary(CommandContext& ctx) {
    const bool shown = show_feature(ctx) && show_contact(ctx) && show_throttle(ctx) &&
                       show_periodic_inventory(ctx) && show_distribution(ctx) && show_privacy(ctx);
    return shown ? done : failed;
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_show(CommandContext* ctx) {
    return run_display(*ctx, "callhome_show", __LINE__, [&] { return show_summary(*ctx); });
}

void callhome_show_table_info(uint32_t index, ServiceStatus status, void* out, const char* reply) {
    const auto rows = std::min<int>(callhome_info_table_size, CALLHOME_INFO_ROWS);
    if (std::cmp_greater_equal(index, rows)) {
        return;
    }
    const std::uint32_t tags = tags_of_a_contact_row * index;
    format_line("%s:", callhome_info_table[index].description);
    cli_print(out, "%s", cli_tuple(tag_first_contact_label + tags, buffer), end_of_tuples);
    if (status == code(Status::not_found)) {
        cli_print(out, "\n", end_of_tuples);
    } else if (status == code(Status::ok) && reply != nullptr) {
        format_line("%.*s\n", static_cast<int>(sizeof ContactRecord::value),
                    reply + offsetof(ContactRecord, value));
        cli_print(out, "%s", cli_tuple(tag_first_contact_value + tags, buffer), end_of_tuples);
    }
}
