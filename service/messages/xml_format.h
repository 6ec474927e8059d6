// Messages for programs: XML after docs/schemas/message-1.xsd.
#pragma once

#include <cstddef>
#include <string>

#include "messages/content.h"

namespace callhome::service {

inline constexpr const char* message_namespace = "urn:callhome:message:1";

// A whole, valid document of at most `size` bytes. What is too long is left out, the longest section
// first, then the ends of long values; the root then says truncated="true". A size below that of the
// shortest valid message (about 2,000 bytes) cannot be kept: validity comes before size.
// Throws std::bad_alloc when memory runs out.
std::string format_xml(const MessageContent& content, std::size_t size);

}  // namespace callhome::service
