#include "messages/message_composer.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

#include "messages/content_privacy.h"
#include "messages/mail_builder.h"
#include "messages/text.h"
#include "messages/text_format.h"
#include "messages/user_commands.h"
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

MessageSubject subject_for(const Profile& profile, MessageSubject subject) {
    if (!takes_user_commands(profile)) {
        subject.outputs = {};
    }
    return subject;
}

const std::shared_ptr<SecretFinder>& finder_for(const Configuration& configuration,
                                                const SystemInventory& inventory, ComposerMemory& memory) {
    const KnownNames names{inventory.host_name, inventory.serial_number};
    if (memory.finder == nullptr || !memory.finder->is_for(configuration.privacy, names)) {
        memory.finder = std::make_shared<SecretFinder>(configuration.privacy, names);
    }
    return memory.finder;
}

// What an event says. To mask is most of what composing costs, so it is done once for the profiles that
// take the output of the operator's commands and once for those that do not; else only their names differ.
class EventContent {
 public:
    EventContent(const MessageSubject& subject, const MessageStamp& stamp,
                 const Configuration& configuration, const SystemInventory& inventory,
                 ComposerMemory& memory)
        : subject_(subject),
          stamp_(stamp),
          configuration_(configuration),
          inventory_(inventory),
          lines_(memory.configuration_lines),
          masker_(finder_for(configuration, inventory, memory)) {}

    // Valid until the next call.
    const MessageContent& for_profile(const Profile& profile) {
        std::optional<MessageContent>& content = takes_user_commands(profile) ? whole_ : without_commands_;
        if (!content) {
            content = compose_content(subject_for(profile, subject_), stamp_, profile.name, configuration_,
                                      inventory_, lines_);
            mask_content(*content, masker_);
        }
        name_profile(*content, masker_.without_known(masker_.masked(clean_line(profile.name))));
        return *content;
    }

 private:
    static void name_profile(MessageContent& content, const std::string& name) {
        for (ContentField& field : content.blocks.front().fields) {
            if (std::string_view(field.element) == "profile") {
                field.value = name;
            }
        }
    }

    const MessageSubject& subject_;
    const MessageStamp& stamp_;
    const Configuration& configuration_;
    const SystemInventory& inventory_;
    ConfigurationLines& lines_;
    Masker masker_;
    std::optional<MessageContent> whole_;
    std::optional<MessageContent> without_commands_;
};

// What stands in the mail itself; the envelope has the sender as it is.
std::string sender_to_tell(const Configuration& configuration, const SystemInventory& inventory) {
    return is_plain_address(configuration.mail.from)
               ? configuration.mail.from
               : fmt::format("{}@{}", default_sender,
                             domain_to_tell(mail_host_name(inventory.host_name), configuration.privacy));
}

// `number` tells the mails of one stamp apart: each profile gets a text of its own.
std::string mail_around(const NewMessage& message, std::size_t number, const MessageStamp& stamp,
                        const Configuration& configuration, const SystemInventory& inventory) {
    Mail mail;
    mail.from = sender_to_tell(configuration, inventory);
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

std::string unique_id(std::string_view time, std::string_view host) {
    // Of the kernel's generator: what the processor offers beside it takes as long as all other headers.
    std::uint64_t random = 0;
    if (::getentropy(&random, sizeof random) != 0) {
        throw std::system_error(errno, std::generic_category(), "no random number");
    }
    return fmt::format("{}.{:016x}@{}", time, random, host);
}

MessageStamp make_stamp(long long time, const SystemInventory& inventory) {
    return {unique_id(fmt::to_string(time), mail_host_name(inventory.host_name)), time};
}

std::vector<NewMessage> compose_messages(const MessageSubject& subject, const MessageStamp& given,
                                         const std::vector<Taker>& takers,
                                         const Configuration& configuration,
                                         const SystemInventory& inventory, ComposerMemory& memory) {
    const MessageStamp stamp = masked_stamp(given, configuration.privacy);
    EventContent contents(subject, stamp, configuration, inventory, memory);
    std::vector<NewMessage> messages;
    for (const Taker& taker : takers) {
        const Profile& profile = *taker.profile;
        const MessageContent& content = contents.for_profile(profile);
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
            message.content = mail_around(message, messages.size() + 1, stamp, configuration, inventory);
        }
        messages.push_back(std::move(message));
    }
    return messages;
}

std::vector<NewMessage> compose_messages(const MessageSubject& subject, const MessageStamp& given,
                                         const std::vector<Taker>& takers,
                                         const Configuration& configuration,
                                         const SystemInventory& inventory) {
    ComposerMemory memory;
    return compose_messages(subject, given, takers, configuration, inventory, memory);
}

}  // namespace callhome::service
