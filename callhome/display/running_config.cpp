#include <unistd.h>

#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "display/generator.h"
#include "display/time_of_day.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/text.h"
#include "platform/interface.h"
#include "protocol/marker.h"
#include "protocol/records/contact.h"
#include "protocol/records/distribution.h"
#include "protocol/records/feature.h"
#include "protocol/records/inventory.h"

namespace callhome::library {
namespace {

using protocol::ContactRecord;
using protocol::DistributionRecord;
using protocol::Opcode;
using protocol::PeriodicInventoryRecord;
using protocol::Status;
using protocol::SwitchRecord;

using Generator = std::int32_t (*)(CommandContext*);

// In the order of their lines.
constexpr std::array<Generator, 8> generators{
    callhome_info_asciigen,
    callhome_asciigen_destprofile_xml,
    callhome_asciigen_destprofile_fulltxt,
    callhome_asciigen_destprofile_shorttxt,
    callhome_asciigen_destprofile,
    callhome_emailconf_asciigen,
    callhome_http_vrf_asciigen,
    callhome_http_proxy_asciigen,
};

constexpr int blanks_a_level = 2;
constexpr int deepest_level = 16;

constexpr const char* default_priority = "7";
constexpr std::int32_t default_interval = 7;       // days
constexpr std::int32_t default_time_of_day = 480;  // minutes after midnight
constexpr int longest_time = 5;                    // characters of HH:MM

constexpr std::int32_t written = code(Status::ok);

// A line that is no default, so that a configuration that is distributed has something to commit.
void write_setting(const char* line) {
    cfgout_buf_printf("%s\n", line);
    pxd_data_present = 1;
}

// What a request for global settings ends the generator with.
std::int32_t end_with(ServiceStatus status) {
    return status == code(Status::distribution_off) ? status : generator_failure(status);
}

// Asks for a record and writes its lines; what the service does not know has no lines, where
// `may_be_missing`.
template <typename Record>
std::int32_t write_record(Opcode opcode, bool may_be_missing, void (*write)(const Record&),
                          CommandContext& ctx) {
    Record request{};
    Reply<Record> reply;
    const ServiceStatus status = reply.ask(opcode, get_operation(), request, ctx);
    if (status == code(Status::not_found) && may_be_missing) {
        return written;
    }
    if (status != code(Status::ok)) {
        return end_with(status);
    }
    if (reply.record() == nullptr) {
        return incomplete_for_generator(reply.length(), sizeof request);
    }
    write(*reply.record());
    return written;
}

void note_distribution(const DistributionRecord& distribution) {
    pxd_dist_enabled = distribution.enabled;
}

void write_contact_line(const CallhomeInfoRow& row, const ContactRecord& field) {
    const FieldText name(field.name);
    const FieldText value(field.value);
    const bool is_default =
        std::strcmp(name.c_str(), "priority") == 0 && std::strcmp(value.c_str(), default_priority) == 0;
    if (row.keyword == nullptr || is_default || value.empty()) {
        return;
    }
    cfgout_buf_printf("%s %s\n", row.keyword, value.c_str());
    pxd_data_present = 1;
}

std::int32_t write_contact_field(const CallhomeInfoRow& row, CommandContext& ctx) {
    ContactRecord request{};
    copy_text(request.name, row.mib_name);
    Reply<ContactRecord> reply;
    const ServiceStatus status = reply.ask(Opcode::contact_field, get_operation(), request, ctx);
    if (status == code(Status::not_found)) {
        return written;
    }
    if (status != code(Status::ok)) {
        if (status != code(Status::distribution_off)) {
            std::printf("Could not get value for %s\n", row.mib_name);
        }
        return end_with(status);
    }
    if (reply.record() == nullptr) {
        return incomplete_for_generator(reply.length(), sizeof request);
    }
    write_contact_line(row, *reply.record());
    return written;
}

std::int32_t write_contact(CommandContext& ctx) {
    for (int row = 0; row < callhome_info_table_size; ++row) {
        const std::int32_t result = write_contact_field(callhome_info_table[row], ctx);
        if (result != written) {
            return result;
        }
    }
    return written;
}

// Both states have a line, but only the one that is no default counts as a setting.
void write_throttle(const SwitchRecord& throttle) {
    if (throttle.enabled == 0) {
        write_setting("no duplicate-message throttle");
    } else {
        cfgout_buf_printf("%s\n", "duplicate-message throttle");
    }
}

// The two blanks before a value are part of the lines as they are known.
void write_periodic_inventory(const PeriodicInventoryRecord& inventory) {
    if (inventory.notification != 0) {
        write_setting("periodic-inventory notification");
    } else {
        cfgout_buf_printf("%s\n", "no periodic-inventory notification");
    }
    if (inventory.time_period != default_interval) {
        cfgout_buf_printf("%s %" PRId32 "\n", "periodic-inventory notification interval ",
                          static_cast<std::int32_t>(inventory.time_period));
        pxd_data_present = 1;
    }
    if (inventory.time_of_day != default_time_of_day) {
        cfgout_buf_printf("%s %.*s\n", "periodic-inventory notification timeofday ", longest_time,
                          TimeOfDay(inventory.time_of_day).c_str());
        pxd_data_present = 1;
    }
}

void write_feature(const SwitchRecord& feature) {
    if (feature.enabled != 0) {
        write_setting("enable");
    }
}

bool message_is_processed() {
    return access(protocol::processing_marker, F_OK) == 0;
}

// Behind a configuration that is distributed: without it, what was typed would stay pending.
void write_commit(std::uint8_t config_depth) {
    const int level = (config_depth >> 1) + 1;
    if (pxd_dist_enabled == 0 || pxd_data_present == 0 || level > deepest_level) {
        return;
    }
    if (cfgout_start_stop_get() == 1) {
        if (cfgout_cmd_count_get() == 0) {
            std::fputs("\n", stdout);
        }
        cfgout_cmd_punch();
    }
    std::printf("%*s%s\n", blanks_a_level * level, "", "commit");
    std::fflush(stdout);
}

void end_block() {
    if (cfgout_start_stop_get() == 1 && cfgout_cmd_count_get() != 0) {
        std::fputs("\n", stdout);
        std::fflush(stdout);
    }
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

int32_t callhome_info_asciigen(CommandContext* ctx) {
    cmd_type = class_exec;
    std::int32_t result = write_record(Opcode::distribution, true, note_distribution, *ctx);
    if (result == written) {
        result = write_contact(*ctx);
    }
    if (result == written) {
        result = write_record(Opcode::duplicate_throttle, false, write_throttle, *ctx);
    }
    if (result == written) {
        result = write_record(Opcode::periodic_inventory, false, write_periodic_inventory, *ctx);
    }
    if (result == written) {
        result = write_record(Opcode::feature_state, true, write_feature, *ctx);
    }
    return result;
}

uint32_t callhome_asciigen(CommandContext* request) {
    cfgout_cmd_init(request);
    cmd_type = class_exec;
    // While a message is being processed the service may be in the middle of its configuration.
    if (message_is_processed()) {
        return done;
    }
    pxd_data_present = 0;
    pxd_dist_enabled = 0;
    print_running_config = 1;
    for (const Generator generate : generators) {
        generate(request);  // what one cannot write, the others still can
    }
    write_commit(request->config_depth);
    end_block();
    return done;
}

int32_t print_calhome_config(CommandContext* request) {
    for (const Generator generate : generators) {
        const std::int32_t result = generate(request);
        if (result != written) {
            return result;
        }
    }
    return print_user_def_cmds(request);
}
