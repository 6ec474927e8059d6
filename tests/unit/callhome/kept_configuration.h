// A service that holds a configuration and answers the requests of displays and generators from it, by
// the records that reach it.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "fake_platform.h"
#include "protocol/records/alert_group.h"
#include "protocol/records/contact.h"
#include "protocol/records/destination_profile.h"
#include "protocol/records/distribution.h"
#include "protocol/records/feature.h"
#include "protocol/records/inventory.h"
#include "protocol/records/mail.h"
#include "protocol/records/privacy.h"

namespace callhome::test {

using protocol::AddressRecord;
using protocol::ContactRecord;
using protocol::DistributionRecord;
using protocol::PeriodicInventoryRecord;
using protocol::ProfileRecord;
using protocol::SubscriptionRecord;
using protocol::SwitchRecord;

// An address or a group of a profile. One that was removed is walked past with "to be skipped".
template <typename Record>
struct Entry {
    Record record;
    bool is_removed = false;
};

// What happens to one exchange, counted from 1, in place of its answer.
struct Fault {
    int exchange = 0;
    ServiceStatus status = 0;
    std::optional<std::size_t> length = std::nullopt;  // the answer is cut to this, instead of refused
};

struct KeptConfiguration {
    std::vector<ProfileRecord> profiles;  // in the order of the walk
    std::vector<Entry<AddressRecord>> emails;
    std::vector<Entry<AddressRecord>> urls;
    std::vector<Entry<SubscriptionRecord>> groups;
    std::map<std::string, std::string> contact;  // by MIB name
    std::uint32_t feature = 0, throttle = 1, distribution = 0;
    std::uint32_t notification = 0, interval = 7, time_of_day = 480;
    std::uint32_t privacy = 0;  // mask of PrivacyFlag

    // Behind the last entry of a profile comes the first one of the next.
    bool walks_on_to_other_profiles = false;
    // A removed entry comes along with the status.
    bool sends_removed_entries = false;
    Fault fault;
    // Statuses in place of every answer, by opcode.
    std::map<std::uint32_t, ServiceStatus> refusals;

    int exchanges = 0;  // answered so far
};

// The three built-in profiles with their defaults, and nothing else.
KeptConfiguration built_in_configuration();

// Adds to a configuration. Indexes rise with each entry of a list.
ProfileRecord& add_profile(KeptConfiguration& kept, std::string_view name);
void add_email(KeptConfiguration& kept, std::string_view profile, std::string_view address);
void add_url(KeptConfiguration& kept, std::string_view profile, std::string_view address);
void add_group(KeptConfiguration& kept, std::string_view profile, std::string_view group);

// From now on, requests are answered from `kept`, which must outlive them.
void serve(KeptConfiguration& kept);

}  // namespace callhome::test
