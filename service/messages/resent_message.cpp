#include "messages/resent_message.h"

#include <fmt/format.h>

#include "messages/mail_builder.h"
#include "messages/message_composer.h"

namespace callhome::service {
namespace {

constexpr std::string_view again = "Sent again: ";
constexpr std::string_view unknown_host = "localhost";

struct Identity {
    std::string number;  // among the messages of one event
    std::string stamp;   // of the event
};

// "1.1700000000.0123456789abcdef@switch1"; a message of an older version has none.
std::optional<Identity> identity_in(const std::string& key) {
    const std::size_t dot = key.find('.');
    if (dot == std::string::npos) {
        return std::nullopt;
    }
    return Identity{key.substr(0, dot), key.substr(dot + 1)};
}

// As long as the old one: a text that was cut to its profile's size is not longer now.
Identity next_identity(const std::optional<Identity>& old, long long now) {
    if (!old) {
        return {"1", unique_id(fmt::to_string(now), unknown_host)};
    }
    const std::size_t dot = old->stamp.find('.');
    const std::size_t sign = old->stamp.find('@');
    const std::string_view host =
        sign == std::string::npos ? unknown_host : std::string_view(old->stamp).substr(sign + 1);
    return {old->number,
            unique_id(dot == std::string::npos ? fmt::to_string(now) : old->stamp.substr(0, dot), host)};
}

}  // namespace

std::optional<NewMessage> resent(const NewMessage& message, long long now) {
    const auto old = identity_in(message.key);
    const Identity next = next_identity(old, now);
    NewMessage copy = message;
    copy.key = next.number + "." + next.stamp;
    if (!copy.subject.starts_with(again)) {
        copy.subject.insert(0, again);
    }
    const std::string old_stamp = old ? old->stamp : "";
    if (copy.carrier != Carrier::smtp) {
        copy.content = with_replaced(std::move(copy.content), old_stamp, next.stamp);
        return copy;
    }
    auto mail = renew_mail(message.content, {.subject = copy.subject,
                                             .message_id = copy.key,
                                             .time = now,
                                             .old_identity = old_stamp,
                                             .new_identity = next.stamp});
    if (!mail) {
        return std::nullopt;
    }
    copy.content = std::move(*mail);
    return copy;
}

}  // namespace callhome::service
