// The displays of diagnostic signatures: which word asks the service for which text.
#include <gtest/gtest.h>

#include <map>

#include "parser.h"
#include "real_grammar.h"

namespace callhome::shell {
namespace {

// "HANDLER KEYWORD... as DOCUMENT"; nothing when the line is no command.
std::string made_of(const std::string& line) {
    const ParseResult result = parse_line(grammar(), mode_named("exec"), line);
    const auto* command = std::get_if<ParsedCommand>(&result);
    if (command == nullptr) {
        return "";
    }
    std::string text(command->command->handler);
    for (const ParsedToken& token : command->tokens) {
        text += " " + std::to_string(token.keyword_id);
    }
    return text + " as " + std::string(command->command->document);
}

// The keywords of actions and prompts are crossed against the views that they ask for, and the one of the
// queue stands behind the others.
TEST(SignatureDisplay, EachWordHasTheKeywordOfItsText) {
    const std::map<std::string, std::string> displays{
        {"", "ch_show_gch_ds as signature_settings"},
        {" description 4294967295", "ch_show_gch_ds_id 130 as signature_text"},
        {" xml", "ch_show_gch_ds_id 131 as signature_text"},
        {" events", "ch_show_gch_ds_id 132 as signature_text"},
        {" actions", "ch_show_gch_ds_id 133 as signature_text"},
        {" prompts", "ch_show_gch_ds_id 134 as signature_text"},
        {" state", "ch_show_gch_ds_id 135 as signature_text"},
        {" messages", "ch_show_gch_ds_id 136 as signature_text"},
        {" statistics", "ch_show_gch_ds_failure_stats_dnld as signature_run_times"},
        {" statistics failure", "ch_show_gch_ds_failure_stats_dnld 137 as signature_failures"},
        {" statistics run-time", "ch_show_gch_ds_failure_stats_dnld 138 as signature_run_times"},
        {" statistics download", "ch_show_gch_ds_failure_stats_dnld 139 as signature_downloads"},
        {" description", ""},
        {" description 0", ""},
        {" description all", ""},
    };
    for (const auto& [words, made] : displays) {
        EXPECT_EQ(made_of("show diagnostic-signature callhome" + words), made) << words;
    }
}

TEST(SignatureDisplay, EachInformationHasItsKeyword) {
    const std::map<std::string, std::string> keywords{
        {"version", "120"}, {"state", "121"},  {"connections", "122"},   {"queue", "127"},
        {"store", "123"},   {"memory", "124"}, {"configuration", "125"}, {"licences", "126"}};
    for (const auto& [word, keyword] : keywords) {
        EXPECT_EQ(made_of("show callhome information " + word), "ch_show_gch_info " + keyword + " as text");
    }
    EXPECT_EQ(made_of("show callhome information"), "");
}

TEST(SignatureDisplay, MessagesAreCountedSentOrFailed) {
    EXPECT_EQ(made_of("clear callhome message statistics sent"), "ch_test_send_msg_clear_stat 118 as ");
    EXPECT_EQ(made_of("clear callhome message statistics failed"), "ch_test_send_msg_clear_stat 119 as ");
    EXPECT_EQ(made_of("clear callhome message statistics"), "");
}

}  // namespace
}  // namespace callhome::shell
