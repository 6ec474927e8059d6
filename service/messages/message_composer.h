// From a request to the messages that go into the queue.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "delivery/queue.h"
#include "messages/configuration_lines.h"
#include "messages/content.h"
#include "messages/profile_selection.h"
#include "privacy/secret_finder.h"

namespace callhome::service {

// "TIME.RANDOM@HOST", which nobody else makes.
std::string unique_id(std::string_view time, std::string_view host);

// A stamp that no other message has, at the given time.
MessageStamp make_stamp(long long time, const SystemInventory& inventory);

// What stays from one message for the next ones, as long as it is true of them.
struct ComposerMemory {
    std::shared_ptr<SecretFinder> finder;
    ConfigurationLines configuration_lines;
};

// One message for each taker, in the taker's format and cut to its size, and without what the level of
// privacy masks. The same secret has the same mask in all of them.
std::vector<NewMessage> compose_messages(const MessageSubject& subject, const MessageStamp& stamp,
                                         const std::vector<Taker>& takers,
                                         const Configuration& configuration,
                                         const SystemInventory& inventory, ComposerMemory& memory);
// The same, from nothing.
std::vector<NewMessage> compose_messages(const MessageSubject& subject, const MessageStamp& stamp,
                                         const std::vector<Taker>& takers,
                                         const Configuration& configuration,
                                         const SystemInventory& inventory);

}  // namespace callhome::service
