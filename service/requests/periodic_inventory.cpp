#include "requests/functions.h"

namespace callhome::service {
namespace {

using protocol::Status;

constexpr std::uint32_t on = 1;
constexpr std::uint32_t longest_period = 30;        // days
constexpr std::uint32_t last_minute = 24 * 60 - 1;  // of a day

}  // namespace

Outcome get_periodic_inventory(Call& call, const protocol::PeriodicInventoryRecord& /*record*/) {
    const PeriodicInventory& settings = call.shared().periodic_inventory;
    call.reply.set_record(protocol::PeriodicInventoryRecord{.notification = settings.notification ? on : 0,
                                                            .time_period = settings.time_period,
                                                            .trailing_flag = 0,
                                                            .time_of_day = settings.time_of_day});
    return Status::ok;
}

Outcome set_periodic_inventory(Call& call, const protocol::PeriodicInventoryRecord& record) {
    if (record.notification > on || record.time_period == 0 || record.time_period > longest_period ||
        record.time_of_day > last_minute) {
        return Status::malformed_request;
    }
    call.copy.put_periodic_inventory({.notification = record.notification == on,
                                      .time_period = record.time_period,
                                      .time_of_day = record.time_of_day});
    return Status::ok;
}

}  // namespace callhome::service
