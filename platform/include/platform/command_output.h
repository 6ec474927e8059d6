// What a command prints, on its way to the reader: as text, or collected into one JSON or XML document.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace callhome::platform {

enum class OutputFormat : std::uint8_t { text, json, xml };

enum class ValueType : std::uint8_t {
    text,
    number,
    boolean,
    time,  // a text such as 2026-11-21T14:41:36Z
};

// One member of a document. `place` is the way to it from the root, "contact/email" for a member of an
// object. A name that ends in [] is a list: "messages[]/id" is a member of the objects of a list, and a
// list of plain values has [] at the end.
struct Member {
    std::string_view place;
    ValueType type = ValueType::text;
    // In the objects of a list. At the root only lists always are: a display that was refused has no more.
    bool is_always_there = false;
};
using Members = std::vector<Member>;

// The members of what handlers of the command library print, by the name that the grammar gives the
// document. Empty when there is none of that name.
Members library_document(std::string_view name);

// Lines that have no place of their own; they may come with any document.
inline constexpr std::string_view text_lines = "text[]";
inline constexpr std::string_view error_lines = "errors[]";
inline constexpr std::string_view configuration_lines = "configuration[]";

// What a document with these members looks like.
std::string json_schema(std::string_view title, std::string_view help, const Members& members);
std::string xml_schema(std::string_view title, std::string_view help, const Members& members);

// The output of one command: while it lives, `stdout` is a stream of its own. Text passes it with U+FFFD
// for what is not UTF-8. For JSON and XML it is collected, and the whole document is written at the end;
// also when the process exits inside the command. Inside another one it does nothing.
class CommandOutput {
 public:
    // `on_terminal` says that a terminal shows the output in the end, where control characters must not
    // reach it. Throws std::system_error.
    CommandOutput(OutputFormat format, const Members& members, bool on_terminal);
    CommandOutput(const CommandOutput&) = delete;
    CommandOutput& operator=(const CommandOutput&) = delete;
    ~CommandOutput();

    // Writes what is left when the process ends inside a command.
    static void end_at_exit();

 private:
    bool is_outermost_;
};

// While it lives, what commands show inside the running one is text, which becomes lines of its document
// where it has one.
class ShownAsText {
 public:
    ShownAsText();
    ShownAsText(const ShownAsText&) = delete;
    ShownAsText& operator=(const ShownAsText&) = delete;
    ~ShownAsText();

 private:
    bool before_;
};

// True while the output of the running command becomes a document.
bool is_output_structured();

using Value = std::variant<std::string, std::int64_t, bool>;

// Put something into that document; without one they do nothing.
void begin_element(std::string_view list);  // of objects
void set_value(std::string_view place, const Value& value);

}  // namespace callhome::platform
