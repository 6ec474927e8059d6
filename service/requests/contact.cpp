#include <algorithm>
#include <array>

#include "requests/checks.h"
#include "requests/fields.h"
#include "requests/functions.h"

namespace callhome::service {
namespace {

using protocol::Status;

bool is_text(std::string_view value) {
    return !value.empty() && is_line(value);
}

bool is_priority(std::string_view value) {
    constexpr char lowest = '0';
    constexpr char highest = '7';
    return value.size() == 1 && value.front() >= lowest && value.front() <= highest;
}

struct Item {
    std::string_view name;
    bool (*accepts)(std::string_view value);
};

constexpr std::array items{
    Item{"sysContact", is_text},
    Item{"sysContactEmail", is_email_address},
    Item{"sysContactPhoneNumber", is_text},
    Item{"sysStreetAddress", is_text},
    Item{"siteId", is_text},
    Item{"custId", is_text},
    Item{"contractId", is_text},
    Item{priority_item, is_priority},
};

const Item* find_item(std::string_view name) {
    const auto* item = std::ranges::find(items, name, &Item::name);
    return item == items.end() ? nullptr : item;
}

// The default priority counts as not set: there is nothing to remove.
bool is_set(const Configuration& configuration, const std::string& name) {
    const auto item = configuration.contact.find(name);
    return item != configuration.contact.end() &&
           !(name == priority_item && item->second == default_priority);
}

}  // namespace

Outcome get_contact(Call& call, const protocol::ContactRecord& record) {
    const std::string name = read_text(record.name);
    if (find_item(name) == nullptr) {
        return Status::malformed_request;
    }
    const auto item = call.configuration().contact.find(name);
    if (item == call.configuration().contact.end()) {
        return Status::not_found;
    }
    protocol::ContactRecord answer{};
    write_text(answer.name, name);
    write_text(answer.value, item->second);
    call.reply.set_record(answer);
    return Status::ok;
}

Outcome set_contact(Call& call, const protocol::ContactRecord& record) {
    const std::string name = read_text(record.name);
    const std::string value = read_text(record.value);
    const Item* item = find_item(name);
    if (item == nullptr || !item->accepts(value)) {
        return Status::malformed_request;
    }
    call.store.set_contact(name, value);
    return Status::ok;
}

Outcome remove_contact(Call& call, const protocol::ContactRecord& record) {
    const std::string name = read_text(record.name);
    if (find_item(name) == nullptr) {
        return Status::malformed_request;
    }
    if (!is_set(call.configuration(), name)) {
        return Status::not_found;
    }
    // Receivers of messages rely on the items that the first of them showed.
    if (call.configuration().enabled) {
        return Status::configuration_missing;
    }
    call.store.remove_contact(name);
    return Status::ok;
}

}  // namespace callhome::service
