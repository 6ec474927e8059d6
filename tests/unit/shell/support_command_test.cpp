// The commands of support: which words lead to which handler.
#include <gtest/gtest.h>

#include <map>

#include "parser.h"
#include "real_grammar.h"

namespace callhome::shell {
namespace {

// "HANDLER KEYWORD=VALUE... as DOCUMENT"; nothing when the line is no command. A handler that is given
// nothing ends in ().
std::string made_of(const std::string& line) {
    const ParseResult result = parse_line(grammar(), mode_named("exec"), line);
    const auto* command = std::get_if<ParsedCommand>(&result);
    if (command == nullptr) {
        return "";
    }
    std::string text(command->command->handler);
    text += command->command->takes_nothing ? "()" : "";
    for (const ParsedToken& token : command->tokens) {
        text += " " + std::to_string(token.keyword_id) + "=" + std::get<std::string>(token.value.value);
    }
    return text + " as " + std::string(command->command->document);
}

TEST(SupportCommand, EachDisplayHasItsHandler) {
    const std::map<std::string, std::string> displays{
        {"show tech-support callhome", "callhome_show_tech_support as text"},
        {"show trace callhome", "callhome_show_trace() as text"},
        {"show system internal callhome event-history", "ch_show_gch_trace() as text"},
        {"show system internal callhome mem-stats", "callhome_show_memstats as text"},
        {"show system internal callhome mem-stats detail", "callhome_show_memstats 57=detail as text"},
        {"show callhome inventory", "callhome_show_inventory() as text"},
        {"show callhome tech-support", "callhome_show_techsupport() as text"},
        {"show hostname", "@show_hostname as hostname"},
        {"show module", "@show_module as module"},
        {"show snmp", "@show_snmp as snmp"},
        {"show snmp | include contact", "@show_snmp as snmp"},
    };
    for (const auto& [line, made] : displays) {
        EXPECT_EQ(made_of(line), made) << line;
    }
}

TEST(SupportCommand, AnEventHasATypeAndPerhapsAText) {
    for (const std::string type : {"configuration", "diagnostic", "environment", "inventory", "syslog"}) {
        EXPECT_EQ(made_of("callhome event trigger " + type), "ch_trigger_event 103=" + type + " as ");
    }
    EXPECT_EQ(made_of("callhome event trigger sys text link 4 is down"),
              "ch_trigger_event 103=syslog 104=link 4 is down as ");
    EXPECT_EQ(made_of("callhome event trigger"), "");
    EXPECT_EQ(made_of("callhome event trigger license"), "");
    EXPECT_EQ(made_of("callhome event trigger syslog text " + std::string(128, 'x')), "");
}

}  // namespace
}  // namespace callhome::shell
