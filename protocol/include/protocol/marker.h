// The file that stands while the service composes a message and first offers it to its receivers.
#pragma once

namespace callhome::protocol {

inline constexpr const char* processing_marker = CALLHOME_MARKER_FOLDER "/processing_mesg";

}  // namespace callhome::protocol
