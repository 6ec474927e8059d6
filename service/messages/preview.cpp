#include "messages/preview.h"

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <asio/post.hpp>
#include <optional>

#include "messages/message_composer.h"
#include "messages/profile_selection.h"
#include "messages/text.h"
#include "messages/user_commands.h"
#include "protocol/records/message.h"

namespace callhome::service {
namespace {

using protocol::Status;

// Stand where an event tells of itself.
constexpr const char* source_of_no_event = "preview";
constexpr const char* text_of_no_event = "what has happened stands here";

std::optional<MessageType> type_named(const std::string& name) {
    if (const MessageType* type = find_message_type(name, Origin::command)) {
        return *type;
    }
    return event_type(name, protocol::severity_of_its_name);
}

std::vector<Taker> takers_of(const Configuration& configuration, const MessageType& type,
                             const std::string& profile) {
    std::vector<Taker> takers = select_takers(configuration, type);
    std::erase_if(takers,
                  [&](const Taker& taker) { return !profile.empty() && taker.profile->name != profile; });
    return takers;
}

bool has_profile(const Configuration& configuration, const std::string& name) {
    return std::ranges::any_of(configuration.profiles,
                               [&](const Profile& profile) { return profile.name == name; });
}

std::string why_none(const Configuration& configuration, const MessageType& type,
                     const std::string& profile) {
    return profile.empty()
               ? why_nobody_takes(configuration, type)
               : fmt::format("The profile {} takes no {} messages, or has nobody to send them to",
                             clean_line(profile), type.wording);
}

}  // namespace

// Never from within the caller, as with the answers of messages.
void Previewer::refuse(PreviewDone done, Status status, std::string why) {
    asio::post(io_, [done = std::move(done), status, why = std::move(why)] { done(status, why, {}); });
}

void Previewer::preview(const PreviewRequest& request, PreviewDone done) {
    const auto type = type_named(request.type);
    if (!type) {
        return refuse(std::move(done), Status::malformed_request, "There is no such type of message");
    }
    if (!request.profile.empty() && !has_profile(configuration_, request.profile)) {
        return refuse(std::move(done), Status::not_found, "");
    }
    const std::vector<Taker> takers = takers_of(configuration_, *type, request.profile);
    if (takers.empty()) {
        return refuse(std::move(done), Status::not_sent, why_none(configuration_, *type, request.profile));
    }
    if (open_ >= most_open_) {
        return refuse(std::move(done), Status::limit_reached,
                      "Too many previews are being made; try again in a moment");
    }
    ++open_;
    commands_.run(user_commands_for(configuration_, type->alert_group, takers), limits_,
                  [this, request, done = std::move(done)](const std::vector<CommandOutput>& outputs) {
                      --open_;
                      compose(request, outputs, done);
                  });
}

// Who takes the message is asked again: the configuration may have changed while the commands ran.
void Previewer::compose(const PreviewRequest& request, const std::vector<CommandOutput>& outputs,
                        const PreviewDone& done) const {
    const MessageType type = *type_named(request.type);
    const std::vector<Taker> takers = takers_of(configuration_, type, request.profile);
    std::vector<NewMessage> messages;
    std::string why = takers.empty() ? why_none(configuration_, type, request.profile) : "";
    try {
        SoftwareInventory software;
        const SystemInventory inventory = read_system_inventory(software);
        const MessageSubject subject{.type = &type,
                                     .parameter_1 = source_of_no_event,
                                     .parameter_2 = text_of_no_event,
                                     .requested_by = request.requested_by,
                                     .outputs = outputs};
        messages =
            compose_messages(subject, make_stamp(now_(), inventory), takers, configuration_, inventory);
    } catch (const std::exception& error) {
        spdlog::error("A preview could not be composed: {}", error.what());
        why = "The message could not be composed; see the log of the service";
    }
    asio::post(io_, [done, why = std::move(why), messages = std::move(messages)] {
        done(messages.empty() ? Status::not_sent : Status::ok, why, messages);
    });
}

}  // namespace callhome::service
