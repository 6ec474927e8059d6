#include <algorithm>

#include "requests/checks.h"
#include "requests/fields.h"
#include "requests/functions.h"
#include "requests/walk.h"

namespace callhome::service {
namespace {

using protocol::Status;

constexpr std::ptrdiff_t most_user_profiles = 1'000;
constexpr std::size_t most_addresses = 100;           // of a profile and kind
constexpr std::uint32_t largest_message = 5'000'000;  // bytes
constexpr std::uint8_t highest_message_level = 9;
constexpr std::uint32_t all_transport_methods = protocol::transport_email | protocol::transport_http;
constexpr std::uint32_t reserved_word = 1;

Outcome answer_profile(Call& call, const Profile& profile) {
    protocol::ProfileRecord answer{};
    write_text(answer.name, profile.name);
    answer.transport_methods = profile.transport_methods;
    answer.format = static_cast<std::uint32_t>(profile.format);
    answer.message_size = profile.message_size;
    answer.message_level = static_cast<std::uint8_t>(profile.message_level);
    call.reply.set_record(answer);
    return Status::ok;
}

// What commands call two of the built-in profiles: a profile of that name could not be told from them.
bool is_word_for_built_in(std::string_view name) {
    return name == "full-txt-destination" || name == "short-txt-destination";
}

bool is_valid(const protocol::ProfileRecord& record) {
    const bool known_format =
        record.format >= static_cast<std::uint32_t>(protocol::MessageFormat::xml) &&
        record.format <= static_cast<std::uint32_t>(protocol::MessageFormat::short_text);
    const std::string name = read_text(record.name);
    return is_name(name) && !is_word_for_built_in(name) && known_format && record.transport_methods != 0 &&
           record.transport_methods <= all_transport_methods && record.message_size != 0 &&
           record.message_size <= largest_message && record.message_level <= highest_message_level;
}

std::ptrdiff_t count_user_profiles(const SharedConfiguration& configuration) {
    return std::ranges::count(configuration.profiles, false, &Profile::built_in);
}

template <AddressKind kind>
constexpr auto address_list = kind == AddressKind::email ? &Profile::email_addresses : &Profile::urls;

template <AddressKind kind>
const std::vector<ProfileAddress>& addresses_of(const Profile& profile) {
    return profile.*address_list<kind>;
}

template <AddressKind kind>
bool is_address(std::string_view text) {
    return kind == AddressKind::email ? is_email_address(text) : is_url(text);
}

template <AddressKind kind>
bool has_address(const Profile& profile, std::string_view address) {
    return std::ranges::find(addresses_of<kind>(profile), address, &ProfileAddress::address) !=
           addresses_of<kind>(profile).end();
}

Outcome answer_address(Call& call, const Profile& profile, const ProfileAddress& entry) {
    protocol::AddressRecord answer{};
    write_text(answer.name, profile.name);
    write_text(answer.address, entry.address);
    answer.index = entry.index;
    answer.reserved = reserved_word;
    call.reply.set_record(answer);
    return Status::ok;
}

}  // namespace

Outcome get_profile(Call& call, const protocol::ProfileRecord& record) {
    const Profile* profile = call.copy.find_profile(read_text(record.name));
    return profile == nullptr ? Outcome(Status::not_found) : answer_profile(call, *profile);
}

// The profile of the key may have been removed since: what would have followed it is the answer.
Outcome get_next_profile(Call& call, const protocol::ProfileRecord& record) {
    const std::string name = read_text(record.name);
    const auto& profiles = call.shared().profiles;
    auto next = name.empty() ? profiles.begin() : call.copy.profile_position(name);
    if (next != profiles.end() && next->name == name) {
        ++next;
    }
    return next == profiles.end() ? Outcome(Status::no_further_entry) : answer_profile(call, *next);
}

Outcome set_profile(Call& call, const protocol::ProfileRecord& record) {
    if (!is_valid(record)) {
        return Status::malformed_request;
    }
    const Profile changed{.name = read_text(record.name),
                          .transport_methods = record.transport_methods,
                          .format = static_cast<protocol::MessageFormat>(record.format),
                          .message_size = record.message_size,
                          .message_level = static_cast<std::int8_t>(record.message_level),
                          .email_addresses = {},
                          .urls = {},
                          .alert_groups = {}};
    const Profile* existing = call.copy.find_profile(changed.name);
    if (existing == nullptr && count_user_profiles(call.shared()) >= most_user_profiles) {
        return Status::limit_reached;
    }
    if (existing != nullptr && existing->built_in && existing->format != changed.format) {
        return Status::built_in_profile;
    }
    call.copy.put_profile(changed);
    return Status::ok;
}

Outcome remove_profile(Call& call, const protocol::ProfileRecord& record) {
    const std::string name = read_text(record.name);
    const Profile* profile = call.copy.find_profile(name);
    if (profile == nullptr) {
        return Status::not_found;
    }
    if (profile->built_in) {
        return Status::built_in_profile;
    }
    call.copy.remove_profile(name);
    return Status::ok;
}

template <AddressKind kind>
Outcome get_next_address(Call& call, const protocol::AddressRecord& record) {
    return answer_next(call, read_text(record.name), record.index, address_list<kind>, answer_address);
}

template <AddressKind kind>
Outcome add_address(Call& call, const protocol::AddressRecord& record) {
    const std::string name = read_text(record.name);
    const std::string address = read_text(record.address);
    if (!is_address<kind>(address)) {
        return Status::malformed_request;
    }
    const Profile* profile = call.copy.find_profile(name);
    if (profile == nullptr) {
        return Status::not_found;
    }
    if (has_address<kind>(*profile, address)) {
        return Status::already_exists;
    }
    if (addresses_of<kind>(*profile).size() >= most_addresses) {
        return Status::limit_reached;
    }
    call.copy.add_address(kind, name, address);
    return Status::ok;
}

template <AddressKind kind>
Outcome remove_address(Call& call, const protocol::AddressRecord& record) {
    const std::string name = read_text(record.name);
    const std::string address = read_text(record.address);
    const Profile* profile = call.copy.find_profile(name);
    if (profile == nullptr || !has_address<kind>(*profile, address)) {
        return Status::not_found;
    }
    call.copy.remove_address(kind, name, address);
    return Status::ok;
}

template Outcome get_next_address<AddressKind::email>(Call& call, const protocol::AddressRecord& record);
template Outcome get_next_address<AddressKind::url>(Call& call, const protocol::AddressRecord& record);
template Outcome add_address<AddressKind::email>(Call& call, const protocol::AddressRecord& record);
template Outcome add_address<AddressKind::url>(Call& call, const protocol::AddressRecord& record);
template Outcome remove_address<AddressKind::email>(Call& call, const protocol::AddressRecord& record);
template Outcome remove_address<AddressKind::url>(Call& call, const protocol::AddressRecord& record);

}  // namespace callhome::service
