// What displays of signatures show. The tables have the columns at which the library cuts them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "protocol/records/signature.h"
#include "signatures/actions.h"

namespace callhome::service {

// The text of a view; nothing for a view that there is none of. `id` says of which signature, or
// protocol::all_signatures; the settings and the tables are of all in any case.
std::optional<std::string> signature_view(protocol::SignatureView view, std::uint32_t id,
                                          const SignatureActions& actions);

}  // namespace callhome::service
