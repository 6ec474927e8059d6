// When the next inventory message is due: calendar arithmetic, without a clock of its own. All times are
// seconds since 1970; days and times of day are local.
#pragma once

#include <cstdint>

#include "store/configuration.h"

namespace callhome::service {

// What the days are counted from.
struct InventoryState {
    std::int64_t armed_at = 0;   // since when messages have been wanted as they are now
    std::int64_t last_slot = 0;  // the due time that the last message was sent for; 0 for none

    bool operator==(const InventoryState&) const = default;
};

// The first time of day after the messages were switched on or changed, and from then on `time_period`
// days after the last one. A message whose time has passed unused stays due.
std::int64_t next_inventory(const PeriodicInventory& settings, const InventoryState& state);

// The due time that a message sent at `now` counts for: the latest time of day that has come. A message
// that is late, even by days, is followed by the next one at the configured time again.
std::int64_t inventory_slot(const PeriodicInventory& settings, std::int64_t now);

// The state without what lies in the future: a clock that was set back must not silence the switch until it
// has caught up. Less than a day ahead is let be, so that an hour set back repeats nothing.
InventoryState settled(const InventoryState& state, std::int64_t now);

}  // namespace callhome::service
