#include "signatures/pattern.h"

namespace callhome::service {
namespace {

re2::StringPiece piece(std::string_view text) {
    return {text.data(), text.size()};
}

}  // namespace

RE2::Options pattern_options() {
    RE2::Options options;
    options.set_log_errors(false);
    options.set_max_mem(pattern_memory);
    return options;
}

std::optional<std::string> why_no_pattern(const std::string& pattern) {
    const RE2 compiled(pattern, pattern_options());
    if (compiled.ok()) {
        return std::nullopt;
    }
    return compiled.error();
}

bool matches_whole(const std::string& pattern, std::string_view text) {
    const RE2 compiled(pattern, pattern_options());
    return compiled.ok() && RE2::FullMatch(piece(text), compiled);
}

bool is_found_in(const std::string& pattern, std::string_view text) {
    const RE2 compiled(pattern, pattern_options());
    return compiled.ok() && RE2::PartialMatch(piece(text), compiled);
}

}  // namespace callhome::service
