// The grammar's own rules, and grammar and library held against each other.
#include "grammar.h"

#include <dlfcn.h>
#include <elf.h>
#include <gtest/gtest.h>
#include <link.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "built_ins.h"
#include "command_library.h"
#include "docs.h"
#include "documents.h"

namespace callhome::shell {
namespace {

const Grammar& grammar() {
    static const Grammar read = read_grammar(embedded_grammar(), embedded_grammar_name);
    return read;
}

struct Faulty {
    const char* text;
    const char* message;
};

void PrintTo(const Faulty& faulty, std::ostream* out) {
    *out << faulty.text;
}

class FaultyGrammar : public testing::TestWithParam<Faulty> {};

TEST_P(FaultyGrammar, IsRefusedWithFileAndLine) {
    const std::string text = "mode exec\nvalue N u32 1-5 : Number\n" + std::string(GetParam().text) + "\n";
    try {
        read_grammar(text, "g");
        ADD_FAILURE() << "was accepted";
    } catch (const GrammarError& error) {
        EXPECT_EQ(error.what(), "g:3: " + std::string(GetParam().message));
    }
}

constexpr Faulty faulty_grammars[] = {
    {"nowhere show = x : Help", "there is no mode nowhere"},
    {"mode a nowhere", "there is no mode nowhere"},
    {"exec show = x enter nowhere : Help", "there is no mode nowhere"},
    {"exec show = x", "the help is missing: it stands after \" : \""},
    {"exec show : Help", "the command has no handler: it stands after \" = \""},
    {"exec show =  : Help", "the command has no handler: it stands after \" = \""},
    {"exec show = x id : Help", "\"\" is not a number"},
    {"exec show = x idd 5 : Help", "unknown option \"idd\" of a command"},
    {"exec [show] = x : Help", "the command has no word of its own"},
    {"exec show [a = x : Help", "a ']' is missing in the syntax"},
    {"exec show (a | b = x : Help", "a ')' is missing in the syntax"},
    {"exec show <M> = x : Help", "there is no value M"},
    {"exec show <N = x : Help", "a '>' is missing in the syntax"},
    {"exec show $S = x : Help", "there is no set S"},
    {"exec show#z = x : Help", "\"#z\" is not a keyword id"},
    {"exec show a) = x : Help", "\")\" stands after the end of the syntax"},
    {"value M u64 1-5 : Help", "a value is written: value NAME KIND MIN-MAX : HELP"},
    {"value M u32 5-1 : Help", "the range of M is empty or too large for its kind"},
    {"value M u8 0-256 : Help", "the range of M is empty or too large for its kind"},
    {"value N u32 1-5 : Help", "the value N is declared twice"},
    {"set S a : Help", "a set is written: set NAME = SYNTAX : HELP"},
};
INSTANTIATE_TEST_SUITE_P(Grammar, FaultyGrammar, testing::ValuesIn(faulty_grammars));

TEST(Grammar, RefusesASetThatContainsItself) {
    EXPECT_THROW(read_grammar("mode exec\nset S = a $S : Help\nexec b $S = x : Help\n", "g"), GrammarError);
}

TEST(Grammar, RefusesAWordExplainedTwice) {
    EXPECT_THROW(read_grammar("word a : A\nword a : B\n", "g"), GrammarError);
}

TEST(Grammar, ExplainsEveryKeywordAndNoOther) {
    std::set<std::string_view> used;
    for (const Node& node : grammar().nodes) {
        if (node.parameter == nullptr) {
            used.insert(node.word);
            EXPECT_TRUE(grammar().word_help.contains(node.word)) << node.word << " has no help";
        }
    }
    for (const auto& [word, help] : grammar().word_help) {
        EXPECT_TRUE(used.contains(word)) << word << " is explained but stands in no command";
    }
}

TEST(Grammar, EndsEachCommandWithATextWhereItHasOne) {
    for (const Node& node : grammar().nodes) {
        if (node.parameter != nullptr && node.parameter->kind == ValueKind::text) {
            EXPECT_TRUE(node.followers.empty()) << grammar().commands[node.command].syntax;
        }
    }
}

TEST(Grammar, NamesEachBuiltInThatTheShellHasAndNoOther) {
    std::set<std::string_view> named;
    for (const Command& command : grammar().commands) {
        if (is_built_in(command)) {
            named.insert(command.handler);
        }
    }
    std::set<std::string_view> present;
    for (const BuiltIn& row : all_built_ins()) {
        present.insert(row.name);
    }
    EXPECT_EQ(named, present);
}

std::set<std::string> functions_of_grammar() {
    std::set<std::string> names;
    for (const Command& command : grammar().commands) {
        if (!is_built_in(command)) {
            names.emplace(command.handler);
        }
    }
    for (const OtherExport& row : grammar().other_exports) {
        names.emplace(row.name);
    }
    return names;
}

// The functions in the dynamic symbol table of a shared library, as a loader sees them.
std::set<std::string> exported_functions(const char* file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string image((std::istreambuf_iterator<char>(stream)), {});
    const auto* header = reinterpret_cast<const ElfW(Ehdr)*>(image.data());
    const auto* sections = reinterpret_cast<const ElfW(Shdr)*>(image.data() + header->e_shoff);
    std::set<std::string> names;
    for (unsigned index = 0; index < header->e_shnum; ++index) {
        const ElfW(Shdr)& section = sections[index];
        if (section.sh_type != SHT_DYNSYM) {
            continue;
        }
        const char* texts = image.data() + sections[section.sh_link].sh_offset;
        const auto* symbols = reinterpret_cast<const ElfW(Sym)*>(image.data() + section.sh_offset);
        for (std::size_t at = 0; at < section.sh_size / sizeof *symbols; ++at) {
            if (symbols[at].st_shndx != SHN_UNDEF && ELF64_ST_TYPE(symbols[at].st_info) == STT_FUNC) {
                names.insert(texts + symbols[at].st_name);
            }
        }
    }
    return names;
}

TEST(Grammar, NamesEveryFunctionThatTheLibraryExportsAndNoOther) {
    EXPECT_EQ(functions_of_grammar(), exported_functions(CALLHOME_LIBRARY_FILE));
}

TEST(CommandLibrary, FindsEveryHandlerOfTheGrammar) {
    CommandLibrary library(grammar(), FAKE_LIBRARY_FILE);
    EXPECT_NO_THROW(library.load());
}

TEST(CommandLibrary, NamesTheGrammarLineOfAMissingHandler) {
    const Grammar wrong = read_grammar(
        "mode exec\nexec a b#1 [c] = callhome_test : Help\nexec d = no_such : Help\n", "my.grammar");
    CommandLibrary library(wrong, FAKE_LIBRARY_FILE);
    try {
        library.load();
        ADD_FAILURE() << "was loaded";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "my.grammar:3: " FAKE_LIBRARY_FILE " has no handler no_such for \"d\"");
    }
}

TEST(CommandLibrary, SaysWhichFileCannotBeLoaded) {
    CommandLibrary library(grammar(), "/nowhere/libcallhome.so");
    try {
        library.load();
        ADD_FAILURE() << "was loaded";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("/nowhere/libcallhome.so"), std::string::npos);
    }
}

std::string content_of(const std::filesystem::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(Schemas, AreThoseOfTheDisplaysThatTheGrammarHas) {
    const std::filesystem::path folder(SCHEMA_FOLDER);
    std::map<std::string, std::string> written;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        const std::string name = file.path().filename();
        if (name.starts_with("show-") || name.starts_with("callhome-")) {
            written[name] = content_of(file.path());
        }
    }
    EXPECT_EQ(written, all_schemas(grammar()))
        << "docs/schemas is stale: callhome --dump-schemas docs/schemas; remove those of displays that are "
           "gone";
}

TEST(Schemas, ADisplayWithoutADocumentIsNamed) {
    for (const char* declaration : {"exec show a = h : Help", "exec show a = h document nonsense : Help"}) {
        const std::string text = std::string("mode exec\n") + declaration + "\nword show : S\nword a : A\n";
        try {
            all_schemas(read_grammar(text, "g"));
            ADD_FAILURE() << declaration;
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(),
                         "g:2: the display has no document: \"document NAME\" after its handler");
        }
    }
}

TEST(Schemas, DisplaysOfOneNameShareTheirDocument) {
    const std::string text =
        "mode exec\nword show : S\nword a : A\nword b : B\n"
        "exec show a = h document text : One\nexec show a b#5 = h document version : Two\n"
        "value N u32 1-5 : N\nexec show a <N>#1 = h document ";
    const auto schemas = all_schemas(read_grammar(text + "text : Three\n", "g"));
    std::vector<std::string> names;
    for (const auto& [name, schema] : schemas) {
        names.push_back(name);
    }
    EXPECT_EQ(names,
              (std::vector<std::string>{"show-a-b.json", "show-a-b.xsd", "show-a.json", "show-a.xsd"}));
    EXPECT_THROW(all_schemas(read_grammar(text + "version : Three\n", "g")), std::runtime_error);
}

TEST(Schemas, AreNamedAfterTheKeywordsThatStandByThemselves) {
    const auto schemas = all_schemas(
        read_grammar("mode exec\nword show : S\nword a : A\nword b : B\nword c : C\nvalue N u32 1-5 : N\n"
                     "exec show a <N>#1 = h document text : One\n"
                     "exec show a (<N>#1 | b#2) c [(b#3 | a#4)] = h document version : Two\n"
                     "exec a b [c <N>#1] = h document version : Three\n",
                     "g"));
    std::vector<std::string> names;
    for (const auto& [name, schema] : schemas) {
        names.push_back(name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"a-b.json", "a-b.xsd", "show-a-c.json", "show-a-c.xsd",
                                               "show-a.json", "show-a.xsd"}))
        << "also what is no show command, but has a document";
}

TEST(CommandReference, IsWhatTheGrammarSays) {
    std::ifstream file(COMMAND_REFERENCE_FILE);
    const std::string page((std::istreambuf_iterator<char>(file)), {});
    EXPECT_EQ(page, command_reference(grammar()))
        << "docs/commands.md is stale: callhome --dump-commands > docs/commands.md";
}

}  // namespace
}  // namespace callhome::shell
