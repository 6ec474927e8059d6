// What a server of signatures has: index.xml beside them, docs/schemas/signature-index-1.xsd.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "signatures/signature.h"

namespace callhome::service {

inline constexpr std::size_t most_index_entries = 256;

struct IndexEntry {
    std::uint32_t id = 0;
    std::string revision;
};

// The entries in their order, each id once. The index may be anything: it is nobody's word, and what it
// leads to has to be signed. Refusals: http_answer_unreadable, over_length.
std::variant<std::vector<IndexEntry>, Refusal> read_signature_index(std::string_view xml);

}  // namespace callhome::service
