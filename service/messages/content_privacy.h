// The one place where a message loses what its receivers are not to see.
#pragma once

#include "messages/content.h"
#include "privacy/masker.h"

namespace callhome::service {

// Masks every text of the content, and those of the header that are not the service's own words. The
// contact block stays as it is: the operator has written it to be read.
void mask_content(MessageContent& content, Masker& masker);

// The stamp without the host's name where that is masked; as unique as before.
MessageStamp masked_stamp(const MessageStamp& stamp, const Privacy& privacy);

// `name`, or what stands for a domain in addresses of messages that do not tell the host's name.
std::string_view domain_to_tell(std::string_view name, const Privacy& privacy);

}  // namespace callhome::service
