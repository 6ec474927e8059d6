#include "kept_configuration.h"

#include <arpa/inet.h>

#include <algorithm>

namespace callhome::test {
namespace {

using protocol::Opcode;
using protocol::Operation;
using protocol::Status;

bool is_walk(const Exchange& exchange) {
    const auto operation = static_cast<Operation>(exchange.operation);
    return operation == Operation::get_next || operation == Operation::get_next_pending;
}

Answer profile_answer(const KeptConfiguration& kept, const Exchange& exchange) {
    const std::string name = text(exchange.record<ProfileRecord>().name);
    const auto named = std::ranges::find_if(
        kept.profiles, [&](const auto& profile) { return text(profile.name) == name; });
    if (!is_walk(exchange)) {
        return named == kept.profiles.end() ? refusal(Status::not_found) : answer(*named);
    }
    const auto next = name.empty()                   ? kept.profiles.begin()
                      : named == kept.profiles.end() ? named
                                                     : named + 1;
    return next == kept.profiles.end() ? refusal(Status::no_further_entry) : answer(*next);
}

std::size_t place_of(const KeptConfiguration& kept, const std::string& profile) {
    const auto found = std::ranges::find_if(
        kept.profiles, [&](const ProfileRecord& record) { return text(record.name) == profile; });
    return static_cast<std::size_t>(found - kept.profiles.begin());
}

// The entry behind a name and an index, in the order of the profiles and of the indexes.
template <typename Record>
Answer entry_answer(const KeptConfiguration& kept, const std::vector<Entry<Record>>& entries,
                    const Exchange& exchange) {
    const auto key = exchange.record<Record>();
    const auto place = [&](const Record& record) {
        return std::pair(place_of(kept, text(record.name)), std::uint32_t{record.index});
    };
    const Entry<Record>* next = nullptr;
    for (const auto& entry : entries) {
        const bool is_reached =
            kept.walks_on_to_other_profiles || text(entry.record.name) == text(key.name);
        const bool is_nearer = next == nullptr || place(entry.record) < place(next->record);
        if (is_reached && is_nearer && place(entry.record) > place(key)) {
            next = &entry;
        }
    }
    if (next == nullptr) {
        return refusal(Status::no_further_entry);
    }
    if (!next->is_removed) {
        return answer(next->record);
    }
    return kept.sends_removed_entries ? answer(next->record, static_cast<ServiceStatus>(Status::skip_entry))
                                      : refusal(Status::skip_entry);
}

Answer contact_answer(const KeptConfiguration& kept, const Exchange& exchange) {
    ContactRecord record{};
    const std::string name = text(exchange.record<ContactRecord>().name);
    const auto found = kept.contact.find(name);
    if (found == kept.contact.end()) {
        return refusal(Status::not_found);
    }
    put(record.name, name);
    put(record.value, found->second);
    return answer(record);
}

Answer inventory_answer(const KeptConfiguration& kept) {
    return answer(PeriodicInventoryRecord{.notification = kept.notification,
                                          .time_period = kept.interval,
                                          .trailing_flag = 0xEE,
                                          .time_of_day = kept.time_of_day});
}

// The word stays in transport order.
Answer privacy_answer(const KeptConfiguration& kept) {
    const std::uint32_t flags = htonl(kept.privacy);
    protocol::PrivacyReply reply{};
    std::memcpy(reply.flags, &flags, sizeof flags);
    return answer(reply);
}

Answer regular_answer(const KeptConfiguration& kept, const Exchange& exchange) {
    switch (static_cast<Opcode>(exchange.opcode)) {
        case Opcode::destination_profile:
            return profile_answer(kept, exchange);
        case Opcode::profile_email:
            return entry_answer(kept, kept.emails, exchange);
        case Opcode::profile_url:
            return entry_answer(kept, kept.urls, exchange);
        case Opcode::alert_group:
            return entry_answer(kept, kept.groups, exchange);
        case Opcode::contact_field:
            return contact_answer(kept, exchange);
        case Opcode::feature_state:
            return answer(SwitchRecord{.enabled = kept.feature, .trailing_flag = 0});
        case Opcode::duplicate_throttle:
            return answer(SwitchRecord{.enabled = kept.throttle, .trailing_flag = 0});
        case Opcode::periodic_inventory:
            return inventory_answer(kept);
        case Opcode::distribution:
            return answer(DistributionRecord{.enabled = kept.distribution});
        case Opcode::data_privacy:
            return privacy_answer(kept);
        case Opcode::mail_settings:
            return answer(protocol::MailSettingsRecord{});
        case Opcode::mail_server:
        case Opcode::user_command:
            return refusal(Status::no_further_entry);
        default:
            return refusal(Status::not_found);
    }
}

Answer answer_of(KeptConfiguration& kept, const Exchange& exchange) {
    ++kept.exchanges;
    if (kept.exchanges == kept.fault.exchange && !kept.fault.length) {
        return refusal(kept.fault.status);
    }
    if (const auto found = kept.refusals.find(exchange.opcode); found != kept.refusals.end()) {
        return refusal(found->second);
    }
    Answer result = regular_answer(kept, exchange);
    if (kept.exchanges == kept.fault.exchange && result.reply) {
        result.reply->resize(std::min(*kept.fault.length, result.reply->size()));
    }
    return result;
}

template <typename Record>
std::uint32_t next_index(const std::vector<Entry<Record>>& entries) {
    return entries.empty() ? 1 : entries.back().record.index + 1;
}

AddressRecord address_of(std::string_view profile, std::string_view address, std::uint32_t index) {
    AddressRecord record{};
    put(record.name, profile);
    put(record.address, address);
    record.index = index;
    record.reserved = 0x33;
    return record;
}

}  // namespace

KeptConfiguration built_in_configuration() {
    KeptConfiguration kept;
    add_profile(kept, "full_txt").format = 2;
    ProfileRecord& short_text = add_profile(kept, "short_txt");
    short_text.format = 3;
    short_text.message_size = 4000;
    add_profile(kept, "ZUVA-profile").message_size = 5000000;
    add_group(kept, "full_txt", "all");
    add_group(kept, "short_txt", "all");
    add_group(kept, "ZUVA-profile", "ZUVA-TAC");
    return kept;
}

ProfileRecord& add_profile(KeptConfiguration& kept, std::string_view name) {
    ProfileRecord profile{};
    put(profile.name, name);
    profile.transport_methods = 1;
    profile.format = 1;
    profile.message_size = 2500000;
    profile.lookup_flag = 0x55;
    return kept.profiles.emplace_back(profile);
}

void add_email(KeptConfiguration& kept, std::string_view profile, std::string_view address) {
    kept.emails.push_back({address_of(profile, address, next_index(kept.emails))});
}

void add_url(KeptConfiguration& kept, std::string_view profile, std::string_view address) {
    kept.urls.push_back({address_of(profile, address, next_index(kept.urls))});
}

void add_group(KeptConfiguration& kept, std::string_view profile, std::string_view group) {
    SubscriptionRecord record{};
    put(record.name, profile);
    put(record.group, group);
    record.index = next_index(kept.groups);
    record.reserved = 0x33;
    record.spare = 0x44;
    kept.groups.push_back({record});
}

void serve(KeptConfiguration& kept) {
    platform().service = [&kept](const Exchange& exchange) { return answer_of(kept, exchange); };
}

}  // namespace callhome::test
