// Output filters: "| include PATTERN | count".
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace callhome::shell {

inline constexpr char filter_mark = '|';

enum class FilterKind : std::uint8_t { include, exclude, begin, count, no_more, json, xml };

struct FilterWord {
    std::string_view word;
    FilterKind kind;
    bool takes_pattern;
    std::string_view help;
};

inline constexpr FilterWord filter_words[] = {
    {"include", FilterKind::include, true, "Only lines that match"},
    {"exclude", FilterKind::exclude, true, "Only lines that do not match"},
    {"begin", FilterKind::begin, true, "From the first line that matches"},
    {"count", FilterKind::count, false, "The number of lines"},
    {"no-more", FilterKind::no_more, false, "Without stopping at each screen"},
    {"json", FilterKind::json, false, "The display as JSON; comes first"},
    {"xml", FilterKind::xml, false, "The display as XML; comes first"},
};

// True for those that say in which form a display comes, and do not look at its lines.
constexpr bool is_format(FilterKind kind) {
    return kind == FilterKind::json || kind == FilterKind::xml;
}

struct FilterSpec {
    FilterKind kind;
    std::string pattern;
};

struct FilterError {
    std::string_view word;  // part of the text given
    std::string reason;
    bool is_incomplete = false;
};

// `text` begins at the first '|'. A pattern reaches to the next '|' that has a blank before it, or, when
// it begins with a double quote, to the next double quote.
std::optional<FilterError> parse_filters(std::string_view text, std::vector<FilterSpec>& filters);

// The last filter of `text`, from its '|' on. `text` begins at the first '|'.
std::string_view last_filter(std::string_view text);

// Takes lines one after the other and says what of them is shown.
class FilterChain {
 public:
    // The patterns must have been accepted by parse_filters.
    explicit FilterChain(const std::vector<FilterSpec>& filters);
    FilterChain(const FilterChain&) = delete;
    FilterChain& operator=(const FilterChain&) = delete;
    ~FilterChain();

    // Appends to `shown` what becomes of one line (without its end).
    void take(std::string_view line, std::string& shown);
    // After the last line.
    void finish(std::string& shown);

 private:
    struct Stage;
    void pass(std::size_t stage, std::string_view line, std::string& shown);

    std::vector<std::unique_ptr<Stage>> stages_;
};

// The same for text that comes in pieces.
class TextFilter {
 public:
    explicit TextFilter(const std::vector<FilterSpec>& filters) : chain_(filters) {}

    // Appends to `shown` what becomes of the lines that are complete now.
    void take(std::string_view piece, std::string& shown);
    // After the last piece.
    void finish(std::string& shown);

 private:
    FilterChain chain_;
    std::string pending_;  // the beginning of a line
};

}  // namespace callhome::shell
