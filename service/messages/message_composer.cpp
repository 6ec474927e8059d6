#include "messages/message_composer.h"

#include <fmt/format.h>

#include <random>

#include "messages/mail_builder.h"
#include "messages/text.h"
#include "messages/text_format.h"
#include "messages/xml_format.h"

namespace callhome::service {
namespace {

constexpr const char* default_sender = "callhome";

std::string format_body(const MessageContent& content, const Profile& profile) {
    switch (profile.format) {
        case protocol::MessageFormat::full_text:
            return format_full_text(content, profile.message_size);
        case protocol::MessageFormat::short_text:
            return format_short_text(content, profile.message_size);
        default:
            return format_xml(content, profile.message_size);
    }
}

std::string sender_of(const Configuration& configuration, const SystemInventory& inventory) {
    return is_plain_address(configuration.mail.from)
               ? configuration.mail.from
               : fmt::format("{}@{}", default_sender, mail_host_name(inventory.host_name));
}

// `number` tells the mails of one stamp apart: each profile gets a text of its own.
std::string mail_around(const NewMessage& message, std::size_t number, const MessageStamp& stamp,
                        const Configuration& configuration) {
    Mail mail;
    mail.from = message.sender;
    mail.to = message.receivers;
    mail.reply_to = configuration.mail.reply_to;
    mail.return_receipt = configuration.mail.return_receipt;
    mail.subject = message.subject;
    mail.message_id = fmt::format("{}.{}", number, stamp.id);
    mail.time = stamp.time;
    mail.format = message.format;
    mail.body = message.content;
    return build_mail(mail);
}

}  // namespace

MessageStamp make_stamp(long long time, const SystemInventory& inventory) {
    std::random_device random;
    return {
        fmt::format("{}.{:08x}{:08x}@{}", time, random(), random(), mail_host_name(inventory.host_name)),
        time};
}

std::vector<NewMessage> compose_messages(const MessageSubject& subject, const MessageStamp& stamp,
                                         const std::vector<Taker>& takers,
                                         const Configuration& configuration,
                                         const SystemInventory& inventory) {
    std::vector<NewMessage> messages;
    for (const Taker& taker : takers) {
        const Profile& profile = *taker.profile;
        const MessageContent content =
            compose_content(subject, stamp, profile.name, configuration, inventory);
        NewMessage message;
        message.type = subject.type->name;
        message.profile = profile.name;
        message.subject = content.subject;
        message.format = profile.format;
        message.carrier = taker.transport == Transport::email ? Carrier::smtp : Carrier::http;
        message.sender = sender_of(configuration, inventory);
        message.receivers = taker.receivers;
        message.severity = static_cast<int>(subject.type->severity);
        message.key = fmt::format("{}.{}", messages.size() + 1, stamp.id);
        message.content = format_body(content, profile);
        message.size = message.content.size();
        if (taker.transport == Transport::email) {
            message.content = mail_around(message, messages.size() + 1, stamp, configuration);
        }
        messages.push_back(std::move(message));
    }
    return messages;
}

}  // namespace callhome::service
