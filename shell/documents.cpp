#include "documents.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "configuration_displays.h"
#include "delivery_displays.h"
#include "message_displays.h"
#include "session_displays.h"
#include "system_displays.h"
#include "words.h"

namespace callhome::shell {

namespace {

// The documents of the shell's own displays that are no rows.
struct OwnDocument {
    std::string_view name;
    platform::Member member;
};

constexpr std::array own_documents{
    OwnDocument{"history", {"commands[]"}},
};

// How many choices and options are open behind the word.
int depth_behind(std::string_view word, int depth) {
    for (const char sign : word) {
        depth += sign == '(' || sign == '[' ? 1 : 0;
        depth -= sign == ')' || sign == ']' ? 1 : 0;
    }
    return depth;
}

// The keywords that a command always has: its values and choices left out.
std::string keywords_of(const Command& command, char between) {
    std::string keywords;
    std::string_view rest = command.syntax;
    int depth = 0;
    for (std::string_view word = take_word(rest); !word.empty(); word = take_word(rest)) {
        const bool stands_alone =
            depth == 0 && std::string_view("<[($").find(word.front()) == std::string_view::npos;
        depth = depth_behind(word, depth);
        if (!stands_alone) {
            continue;
        }
        if (!keywords.empty()) {
            keywords += between;
        }
        keywords += word.substr(0, word.find_first_of("!#/"));
    }
    return keywords;
}

void add_schema(std::map<std::string, std::string>& schemas, const std::string& name, std::string schema) {
    const auto [place, is_new] = schemas.emplace(name, schema);
    if (!is_new && place->second != schema) {
        throw std::runtime_error("two displays with different documents would have the schema " + name);
    }
}

// Displays with the same keywords share one schema: that of the first.
bool is_described_before(const Grammar& grammar, const Command& command) {
    for (const Command& other : grammar.commands) {
        if (&other == &command) {
            return false;
        }
        if (is_display(other) && other.document == command.document &&
            keywords_of(other, ' ') == keywords_of(command, ' ')) {
            return true;
        }
    }
    return false;
}

}  // namespace

platform::Members document_members(const Command& command) {
    for (const OwnDocument& document : own_documents) {
        if (document.name == command.document) {
            return {document.member};
        }
    }
    if (command.document == "difference") {
        return difference_document();
    }
    platform::Members members = message_document(command.document);
    if (members.empty()) {
        members = delivery_document(command.document);
    }
    if (members.empty()) {
        members = session_document(command.document);
    }
    if (members.empty()) {
        members = system_document(command.document);
    }
    return members.empty() ? platform::library_document(command.document) : members;
}

std::map<std::string, std::string> all_schemas(const Grammar& grammar) {
    std::map<std::string, std::string> schemas;
    for (const Command& command : grammar.commands) {
        if (!is_display(command) || is_described_before(grammar, command)) {
            continue;
        }
        const platform::Members members = document_members(command);
        if (members.empty()) {
            throw std::runtime_error(grammar.file + ":" + std::to_string(command.line) +
                                     ": the display has no document: \"document NAME\" after its handler");
        }
        const std::string title = keywords_of(command, ' ');
        const std::string name = keywords_of(command, '-');
        add_schema(schemas, name + ".json", platform::json_schema(title, command.help, members));
        add_schema(schemas, name + ".xsd", platform::xml_schema(title, command.help, members));
    }
    return schemas;
}

void write_schemas(const Grammar& grammar, const std::filesystem::path& folder) {
    for (const auto& [name, schema] : all_schemas(grammar)) {
        const std::string file_name = folder / name;
        std::FILE* file = std::fopen(file_name.c_str(), "we");
        const bool is_written = file != nullptr && std::fputs(schema.c_str(), file) >= 0;
        if ((file != nullptr && std::fclose(file) != 0) || !is_written) {
            throw std::runtime_error(file_name + " cannot be written: " + std::strerror(errno));
        }
    }
}

}  // namespace callhome::shell
