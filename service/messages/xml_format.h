// Messages for programs: XML after docs/schemas/message-1.xsd.
#pragma once

#include <cstddef>
#include <string>

#include "messages/content.h"

namespace callhome::service {

inline constexpr const char* message_namespace = "urn:callhome:message:1";

// A whole, valid document of at most `size` bytes. What is too long is left out: the ends of sections, the
// longest first, then the ends of long values, then fields; the root then says truncated="true", and so
// does each section that has lost something. A size below that of the shortest valid message (its header
// and the uptime, about 1,000 bytes) cannot be kept: validity comes before size. Throws std::bad_alloc when
// memory runs out.
std::string format_xml(const MessageContent& content, std::size_t size);

}  // namespace callhome::service
