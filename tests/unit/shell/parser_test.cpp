// Every command as it is typed, and what its handler is given.
#include "parser.h"

#include <gtest/gtest.h>

#include <map>

#include "callhome/context.h"
#include "context.h"
#include "parsed_line.h"
#include "real_grammar.h"

namespace callhome::shell {
namespace {

class EveryCommand : public testing::TestWithParam<Line> {};

TEST_P(EveryCommand, GivesItsHandlerTheseTokens) {
    EXPECT_EQ(parsed(GetParam().mode, GetParam().typed), GetParam().expected);
}

constexpr Line exec_lines[] = {
    {"exec", "configure terminal", "@configure:"},
    {"exec", "callhome test", "callhome_test:"},
    {"exec", "callhome test inventory", "callhome_test_inventory:"},
    {"exec", "callhome test sup-failure", "callhome_test_supfailure:"},
    {"exec", "callhome send configuration", "callhome_send_config:"},
    {"exec", "callhome send diagnostic", "callhome_send_diag:"},
    {"exec", "callhome send sw-crash process snmpd", "callhome_send_swcrash: 69=snmpd"},
    {"exec", "callhome send sw-crash process snmpd reason it  broke | badly \"so\"",
     "callhome_send_swcrash: 69=snmpd 70=it  broke | badly \"so\""},
    {"exec", "callhome send obx-action policy link-watch", "callhome_send_obx: 66=link-watch"},
    {"exec", "callhome send obx-action policy link-watch text down again",
     "callhome_send_obx: 66=link-watch 65=down again"},
    {"exec", "show callhome transport-email", "callhome_show_emailconf:"},
    {"exec", "show callhome messages", "@show_messages:"},
    {"exec", "show callhome message 4294967295", "@show_message:"},
    {"exec", "show callhome queue", "@show_queue:"},
    {"exec", "show callhome messages last 5", "@show_messages:"},
    {"exec", "show callhome destination-profile statistics",
     "callhome_show_user_destprofile 101: 22=statistics"},
    {"exec", "show callhome destination-profile full-txt-destination statistics",
     "@show_profile_statistics: 19=full_txt"},
    {"exec", "show callhome destination-profile ops statistics", "@show_profile_statistics: 22=ops"},
    {"exec", "clear callhome queue", "@clear_queue:"},
    {"exec", "callhome resend 7", "@resend_message:"},
    {"exec", "callhome preview diagnostic", "@show_preview: 1=TEMO-normal"},
    {"exec", "callhome preview test profile ZUVA-profile", "@show_preview: 1=test 18=ZUVA-profile"},
    {"exec", "show history", "@show_history:"},
    {"exec", "show version", "@show_version:"},
    {"exec", "exit", "@exit:"},
    {"exec", "quit", "@exit:"},
    {"exec", "help", "@help:"},
    {"signature", "end", "@end:"},
    {"configuration", "callhome", "callhome_mode:"},
    {"configuration", "no callhome", "callhome_mode no:"},
    {"configuration", "snmp-server contact Ann Lee, room 4", "@system_contact:"},
    {"configuration", "no snmp-server contact", "@system_contact no:"},
    {"configuration", "no snmp-server contact Ann Lee", "@system_contact no:"},
    {"configuration", "snmp-server enable traps callhome", "callhome_traps_enable:"},
    {"configuration", "no snmp-server enable traps callhome", "callhome_traps_enable no:"},
};
INSTANTIATE_TEST_SUITE_P(Exec, EveryCommand, testing::ValuesIn(exec_lines));

constexpr Line contact_lines[] = {
    {"call-home", "enable", "callhome_enable: 1=enable"},
    {"call-home", "no enable", "callhome_enable no: 1=enable"},
    {"call-home", "disable", "callhome_enable: 2=disable"},
    {"call-home", "no disable", "callhome_enable no: 2=disable"},
    {"call-home", "diagnostic-signature", "ch_config_gch_ds_mode:"},
    {"call-home", "email-contact ann@example.org", "callhome_info: 92=email-contact 8=ann@example.org"},
    {"call-home", "no email-contact", "callhome_info no: 92=email-contact"},
    {"call-home", "no email-contact ann@example.org", "callhome_info no: 92=email-contact"},
    {"call-home", "phone-contact +49 (30) 1234", "callhome_info: 91=phone-contact 9=+49 (30) 1234"},
    {"call-home", "no phone-contact", "callhome_info no: 91=phone-contact"},
    {"call-home", "streetaddress  Höhe 4 | links ", "callhome_info: 93=streetaddress 10=Höhe 4 | links"},
    {"call-home", "streetaddress | x", "callhome_info: 93=streetaddress 10=| x"},
    {"call-home", "no streetaddress", "callhome_info no: 93=streetaddress"},
    {"call-home", "site-id Building \"7\"", "callhome_info: 88=site-id 4=Building \"7\""},
    {"call-home", "no site-id", "callhome_info no: 88=site-id"},
    {"call-home", "customer-id 0815", "callhome_info: 90=customer-id 5=0815"},
    {"call-home", "no customer-id", "callhome_info no: 90=customer-id"},
    {"call-home", "contract-id no enable", "callhome_info: 89=contract-id 6=no enable"},
    {"call-home", "no contract-id", "callhome_info no: 89=contract-id"},
    {"call-home", "switch-priority 0", "callhome_info: 94=switch-priority 7=u32:0"},
    {"call-home", "switch-priority 7", "callhome_info: 94=switch-priority 7=u32:7"},
    {"call-home", "no switch-priority", "callhome_info no: 94=switch-priority"},
};
INSTANTIATE_TEST_SUITE_P(Contact, EveryCommand, testing::ValuesIn(contact_lines));

constexpr Line profile_lines[] = {
    {"call-home", "destination-profile noc", "callhome_destprofile 102: 22=noc"},
    {"call-home", "no destination-profile noc", "callhome_destprofile no 102: 22=noc"},
    {"call-home", "destination-profile full-txt-destination message-size 1",
     "callhome_destprofile: 19=full_txt 17=u32:1"},
    {"call-home", "destination-profile full_txt message-size 5000000",
     "callhome_destprofile: 19=full_txt 17=u32:5000000"},
    {"call-home", "destination-profile short-txt-destination format short-txt",
     "callhome_destprofile: 20=short_txt 26=short-txt"},
    {"call-home", "destination-profile short_txt format full-txt",
     "callhome_destprofile: 20=short_txt 25=full-txt"},
    {"call-home", "destination-profile ZUVA-profile format XML",
     "callhome_destprofile: 18=ZUVA-profile 24=XML"},
    {"call-home", "no destination-profile noc format XML", "callhome_destprofile no: 22=noc 24=XML"},
    {"call-home", "destination-profile full-txt message-level 9",
     "callhome_destprofile: 22=full-txt 35=u8:9"},
    {"call-home", "destination-profile zuva-profile", "callhome_destprofile 102: 22=zuva-profile"},
    {"call-home", "destination-profile noc email-addr noc@example.org",
     "callhome_destprofile_email: 22=noc 16=noc@example.org"},
    {"call-home", "no destination-profile noc email-addr noc@example.org",
     "callhome_destprofile_email no: 22=noc 16=noc@example.org"},
    {"call-home", "destination-profile noc http https://example.org/in?x=1",
     "callhome_destprofile_url: 22=noc 812711940=https://example.org/in?x=1"},
    {"call-home", "destination-profile noc transport-method http",
     "callhome_destprofile_transport_method: 22=noc 96=http"},
    {"call-home", "no destination-profile noc transport-method email",
     "callhome_destprofile_transport_method no: 22=noc 95=email"},
};
INSTANTIATE_TEST_SUITE_P(Profile, EveryCommand, testing::ValuesIn(profile_lines));

constexpr Line mail_lines[] = {
    {"call-home", "transport email from a@b.example", "callhome_email: 85=from 11=a@b.example"},
    {"call-home", "no transport email from", "callhome_email no: 85=from"},
    {"call-home", "no transport email from a@b.example", "callhome_email no: 85=from"},
    {"call-home", "transport email reply-to a@b.example", "callhome_email: 86=reply-to 12=a@b.example"},
    {"call-home", "no transport email reply-to", "callhome_email no: 86=reply-to"},
    {"call-home", "transport email return-receipt a@b.example", "callhome_email: 13=a@b.example"},
    {"call-home", "no transport email return-receipt", "callhome_email no: 13="},
    {"call-home", "transport email smtp-server 10.1.2.3",
     "callhome_email: 87=smtp-server 14=ipv4:10.1.2.3"},
    {"call-home", "transport email smtp-server fe80::1 port 2525 use-vrf management",
     "callhome_email: 87=smtp-server 14=ipv6:fe80::1 15=u32:2525 84=management"},
    {"call-home", "transport email smtp-server mail.example.org use-vrf management",
     "callhome_email: 87=smtp-server 14=name:mail.example.org 84=management"},
    {"call-home", "no transport email smtp-server", "callhome_email no: 87=smtp-server"},
    {"call-home", "no transport email smtp-server 10.1.2.3 port 25", "callhome_email no: 87=smtp-server"},
    {"call-home", "transport email mail-server mx port 65535 priority 100 use-vrf management",
     "callhome_multiple_smtp: 14=name:mx 15=u32:65535 97=u32:100 84=management"},
    {"call-home", "transport email mail-server mx priority 1",
     "callhome_multiple_smtp: 14=name:mx 97=u32:1"},
    {"call-home", "no transport email mail-server 10.1.2.3", "callhome_multiple_smtp no: 14=ipv4:10.1.2.3"},
    {"call-home", "use-vrf management", "callhome_email: 84=management"},
    {"call-home", "no use-vrf", "callhome_email no: 84="},
};
INSTANTIATE_TEST_SUITE_P(Mail, EveryCommand, testing::ValuesIn(mail_lines));

constexpr Line http_lines[] = {
    {"call-home", "transport http proxy server 10.1.2.3 port 8080",
     "callhome_http_proxy: 99=kind 2:10.1.2.3 100=u32:8080"},
    {"call-home", "transport http proxy server 2001:DB8::1", "callhome_http_proxy: 99=kind 4:2001:DB8::1"},
    {"call-home", "transport http proxy server proxy.example.org port 65535",
     "callhome_http_proxy: 99=kind 8:proxy.example.org 100=u32:65535"},
    {"call-home", "no transport http proxy server", "callhome_http_proxy no:"},
    {"call-home", "no transport http proxy server mx port 3128",
     "callhome_http_proxy no: 99=kind 8:mx 100=u32:3128"},
    {"call-home", "transport http proxy enable", "callhome_http_proxy: 98=enable"},
    {"call-home", "no transport http proxy enable", "callhome_http_proxy no: 98=enable"},
    {"call-home", "transport http use-vrf red", "callhome_http_vrf: 84=red"},
    {"call-home", "no transport http use-vrf red", "callhome_http_vrf no: 84=red"},
    {"call-home", "no transport http use-vrf", "callhome_http_vrf no:"},
    {"call-home", "transport http proxy server 10.1.2.300",
     "error at 28: Invalid value: \"10.1.2.300\" is not an IPv4 address, an IPv6 address or a host name"},
    {"call-home", "transport http proxy server mx port 0",
     "error at 36: Invalid value: \"0\" is not a number from 1 to 65535"},
};
INSTANTIATE_TEST_SUITE_P(Http, EveryCommand, testing::ValuesIn(http_lines));

constexpr Line group_lines[] = {
    {"call-home", "destination-profile noc alert-group linecard-hardware",
     "callhome_alert_groups: 22=noc 30=linecard-hardware"},
    {"call-home", "no destination-profile ZUVA-profile alert-group ZUVA-TAC",
     "callhome_alert_groups no: 18=ZUVA-profile 37=ZUVA-TAC"},
    {"call-home", "destination-profile full-txt-destination alert-group diagnostic",
     "callhome_alert_groups: 19=full_txt 63=Diagnostic"},
    {"call-home", "alert-group test user-def-cmd  show  version | include \"a  b\" ",
     "callhome_process_user_def_cmds: 33=test 58=show  version | include \"a  b\""},
    {"call-home", "no alert-group obx user-def-cmd show version",
     "callhome_process_user_def_cmds no: 36=OBX 58=show version"},
    {"call-home", "alert-group all user-def-cmd | \"", "callhome_process_user_def_cmds: 34=all 58=| \""},
    {"exec", "show callhome user-def-cmds", "callhome_show_user_def_cmds:"},
    {"call-home", "alert-group li user-def-cmd show",
     "error at 12: Ambiguous command: \"li\" may be linecard-hardware, license, life-cycle"},
};
INSTANTIATE_TEST_SUITE_P(Groups, EveryCommand, testing::ValuesIn(group_lines));

constexpr Line global_lines[] = {
    {"call-home", "periodic-inventory notification", "callhome_periodic_inventory: 44=notification"},
    {"call-home", "no periodic-inventory notification", "callhome_periodic_inventory no: 44=notification"},
    {"call-home", "periodic-inventory notification interval  7",
     "callhome_periodic_inventory: 44=notification 45=u32:7"},
    {"call-home", "no periodic-inventory notification interval 30",
     "callhome_periodic_inventory no: 44=notification 45=u32:30"},
    {"call-home", "periodic-inventory notification timeofday  08:00",
     "callhome_periodic_inventory: 44=notification 62=08:00"},
    {"call-home", "no periodic-inventory notification timeofday 7:5",
     "callhome_periodic_inventory no: 44=notification 62=7:5"},
    {"call-home", "periodic-inventory notification interval 31",
     "error at 41: Invalid value: \"31\" is not a number from 1 to 30"},
    {"call-home", "duplicate-message throttle", "callhome_dup_msg_throttle: 42=throttle"},
    {"call-home", "no duplicate-message throttle", "callhome_dup_msg_throttle no: 42=throttle"},
    {"call-home", "data-privacy level normal", "ch_config_data_privacy_level: 111=normal"},
    {"call-home", "no data-privacy level high", "ch_config_data_privacy_level no: 112=high"},
    {"call-home", "data-privacy hostname", "ch_config_data_privacy_hostname:"},
    {"call-home", "no data-privacy hostname", "ch_config_data_privacy_hostname no:"},
    {"exec", "show callhome software-inventory", "callhome_show_sw_inventory:"},
    {"call-home", "distribute", "callhome_pxd_distribute: 47=distribute"},
    {"call-home", "no distribute", "callhome_pxd_distribute no: 47=distribute"},
    {"call-home", "commit", "callhome_pxd_commit: 49=commit"},
    {"call-home", "discard", "callhome_pxd_commit: 50=discard"},
    {"exec", "clear callhome session", "callhome_clear_session: 52=session"},
};
INSTANTIATE_TEST_SUITE_P(Global, EveryCommand, testing::ValuesIn(global_lines));

constexpr Line ways_of_typing[] = {
    {"exec", "", "nothing"},
    {"exec", "   ", "nothing"},
    {"exec", "! a comment", "nothing"},
    {"call-home", "  # another", "nothing"},
    {"exec", "conf t", "@configure:"},
    {"exec", "\tsh  call\ttransp ", "callhome_show_emailconf:"},
    {"exec", "SHOW Version", "@show_version:"},
    {"call-home", "no em", "callhome_info no: 92=email-contact"},
    {"call-home", "tr em sm mx", "callhome_email: 87=smtp-server 14=name:mx"},
    {"call-home", "callhome test", "callhome_test:"},
    {"configuration", "callhome test", "callhome_test:"},
    {"call-home", "do show version", "@show_version:"},
    {"signature", "do callhome send diag", "callhome_send_diag:"},
    {"call-home", "snmp-server contact Ann", "@system_contact:"},
    {"signature", "site-id x", "callhome_info: 88=site-id 4=x"},
    {"signature", "configure terminal", "@configure:"},
};
INSTANTIATE_TEST_SUITE_P(WaysOfTyping, EveryCommand, testing::ValuesIn(ways_of_typing));

constexpr Line errors[] = {
    {"exec", "wrod",
     "error at 0: Invalid input at \"wrod\": expected configure, callhome, show, clear, exit, quit, end, "
     "help"},
    {"exec", "show  wrod",
     "error at 6: Invalid input at \"wrod\": expected callhome, diagnostic-signature, running-config, "
     "history, version, tech-support, trace, system, ..."},
    {"exec", "show version now", "error at 13: Invalid input at \"now\": nothing more can stand here"},
    {"exec", "show",
     "error at 4: Incomplete command: expected callhome, diagnostic-signature, running-config, history, "
     "version, tech-support, trace, system, ..."},
    {"exec", "do show version",
     "error at 0: Invalid input at \"do\": expected configure, callhome, show, clear, exit, quit, end, "
     "help"},
    {"call-home", "no",
     "error at 2: Incomplete command: expected enable, disable, diagnostic-signature, "
     "email-contact, phone-contact, streetaddress, site-id, customer-id, ..."},
    {"call-home", "e", "error at 0: Ambiguous command: \"e\" may be enable, email-contact, exit, end"},
    {"call-home", "transport email re a@b.c",
     "error at 16: Ambiguous command: \"re\" may be reply-to, return-receipt"},
    {"call-home", "switch-priority 8", "error at 16: Invalid value: \"8\" is not a number from 0 to 7"},
    {"call-home", "switch-priority -1", "error at 16: Invalid value: \"-1\" is not a number from 0 to 7"},
    {"call-home", "switch-priority 0x1", "error at 16: Invalid value: \"0x1\" is not a number from 0 to 7"},
    {"call-home", "destination-profile n message-level 10",
     "error at 36: Invalid value: \"10\" is not a number from 0 to 9"},
    {"call-home", "destination-profile n message-size 0",
     "error at 35: Invalid value: \"0\" is not a number from 1 to 5000000"},
    {"call-home", "destination-profile n message-size 5000001",
     "error at 35: Invalid value: \"5000001\" is not a number from 1 to 5000000"},
    {"call-home", "transport email mail-server mx port 65536",
     "error at 36: Invalid value: \"65536\" is not a number from 1 to 65535"},
    {"call-home", "transport email mail-server mx priority 101",
     "error at 40: Invalid value: \"101\" is not a number from 1 to 100"},
    {"exec", "show callhome message 99999999999",
     "error at 22: Invalid value: \"99999999999\" is not a number from 1 to 4294967295"},
    {"call-home", "email-contact ann", "error at 14: Invalid value: \"ann\" is not an e-mail address"},
    {"call-home", "email-contact ann@example.org,eve@example.org",
     "error at 14: Invalid value: \"ann@example.org,eve@example.org\" is not an e-mail address"},
    {"call-home", "destination-profile n http ftp://example.org",
     "error at 27: Invalid value: \"ftp://example.org\" is not an address that begins with http:// or "
     "https://"},
    {"call-home", "transport email smtp-server 10.1.2.300",
     "error at 28: Invalid value: \"10.1.2.300\" is not an IPv4 address, an IPv6 address or a host name"},
    {"call-home", "site-id a\tb", "error at 8: Invalid value: \"a\" holds a tab"},
    {"exec", "show\x01 version", "error at 4: Invalid value: character 5 is a control character"},
    {"call-home", "site-id a\x7F", "error at 9: Invalid value: character 10 is a control character"},
    {"call-home",
     "site-id \xC2\x9B"
     "31m",
     "error at 8: Invalid value: character 9 is a control character"},
    {"call-home", "site-id \xFF", "error at 8: Invalid value: character 9 is not UTF-8"},
    {"call-home", "site-id \xC0\xAF", "error at 8: Invalid value: character 9 is not UTF-8"},
    {"call-home", "site-id \xED\xA0\x80", "error at 8: Invalid value: character 9 is not UTF-8"},
    {"call-home", "site-id \xE2\x82", "error at 8: Invalid value: character 9 is not UTF-8"},
    {"configuration", "show version | include", "error at 22: Incomplete command"},
    {"configuration", "show version | sort",
     "error at 15: Invalid value: \"sort\" is not a filter: use include, exclude, begin, count, "
     "no-more, json or xml"},
    {"exec", "callhome test | json",
     "error at 16: Invalid value: \"json\" is a form of displays; this command is none"},
    {"exec", "show version | count | xml",
     "error at 23: Invalid value: \"xml\" can only be the first filter"},
    {"exec", "show version | include (",
     "error at 23: Invalid value: \"(\" is not a pattern: missing ): ("},
};
INSTANTIATE_TEST_SUITE_P(Errors, EveryCommand, testing::ValuesIn(errors));

std::string after(std::string_view command, std::size_t length, const std::string& end = "") {
    return std::string(command) + " " + std::string(length, 'x') + end;
}

struct LengthLimit {
    const char* command;
    const char* end;  // what a value must end in
    std::size_t longest;
};

class Lengths : public testing::TestWithParam<LengthLimit> {};

TEST_P(Lengths, TheLongestValueIsTakenAndOneByteMoreIsRefused) {
    const auto& [command, end, longest] = GetParam();
    const std::size_t filling = longest - std::string_view(end).size();
    EXPECT_FALSE(parsed("call-home", after(command, filling, end)).starts_with("error"));
    EXPECT_NE(parsed("call-home", after(command, filling + 1, end))
                  .find("is longer than " + std::to_string(longest)),
              std::string::npos);
}

constexpr LengthLimit limits[] = {
    {"site-id", "", 2047},
    {"snmp-server contact", "", 2047},
    {"email-contact", "@example.org", 255},
    {"destination-profile", "", 31},
    {"use-vrf", "", 31},
    {"callhome send sw-crash process", "", 255},
    {"callhome send sw-crash process p reason", "", 255},
    {"callhome send obx-action policy p text", "", 255},
    {"destination-profile n email-addr", "@example.org", 255},
    {"alert-group test user-def-cmd", "", 599},
    {"transport http use-vrf", "", 31},
};
INSTANTIATE_TEST_SUITE_P(Limits, Lengths, testing::ValuesIn(limits));

TEST(Parser, KeepsAMessageAboutALongWordShort) {
    EXPECT_LT(parsed("exec", std::string(60000, 'y')).size(), 200U);
}

TEST(Parser, RefusesANulByte) {
    EXPECT_EQ(parsed("call-home", std::string_view("site-id a\0b", 11)),
              "error at 9: Invalid value: character 10 is a control character");
}

std::string grammar_with_tokens(int number) {
    std::string text =
        "mode exec\n"
        "exec";
    for (int index = 0; index < number; ++index) {
        text += " w#" + std::to_string(index + 1);
    }
    return text + " = @x : A long command\n";
}

std::string words(int number) {
    std::string line;
    for (int index = 0; index < number; ++index) {
        line += "w ";
    }
    return line;
}

TEST(Parser, GivesAHandlerSixtyThreeTokensAndRefusesMore) {
    const std::string longest_text = grammar_with_tokens(63);
    const Grammar longest = read_grammar(longest_text, "test");
    const ParseResult fits = parse_line(longest, 0, words(63));
    ASSERT_TRUE(std::holds_alternative<ParsedCommand>(fits));
    HandlerContext context(std::get<ParsedCommand>(fits), true);
    EXPECT_EQ(context.get()->token_count, 63);
    EXPECT_EQ(context.get()->tokens[63]->keyword_id, 63U);

    const std::string longer_text = grammar_with_tokens(64);
    const Grammar longer = read_grammar(longer_text, "test");
    const ParseResult too_many = parse_line(longer, 0, words(64));
    ASSERT_TRUE(std::holds_alternative<ParseError>(too_many));
    EXPECT_EQ(std::get<ParseError>(too_many).reason,
              "the command has more words than a handler can be given");
}

TEST(HandlerContext, HoldsWhatTheHandlerReads) {
    const ParseResult result =
        parse_line(grammar(), mode_named("call-home"),
                   "no transport email mail-server 10.1.2.3 port 26 priority 5 use-vrf red");
    HandlerContext handler_context(std::get<ParsedCommand>(result), false);
    const CommandContext& context = *handler_context.get();
    EXPECT_EQ(context.no_form, 1U);
    EXPECT_EQ(context.active_sup, 0U);
    EXPECT_EQ(context.session_id, static_cast<std::uint32_t>(getpid()));
    EXPECT_EQ(context.mode_bypass, 0U);
    EXPECT_EQ(context.skip_exec, 0U);
    ASSERT_EQ(context.token_count, 4);
    EXPECT_EQ(context.tokens[0], nullptr);
    EXPECT_EQ(context.tokens[1]->value_type, static_cast<std::uint32_t>(CALLHOME_VALUE_IPV4));
    const auto* block = static_cast<const std::uint8_t*>(context.tokens[1]->value);
    EXPECT_EQ(std::vector<std::uint8_t>(block + 4, block + 8), (std::vector<std::uint8_t>{10, 1, 2, 3}));
    EXPECT_EQ(*static_cast<const std::uint32_t*>(context.tokens[2]->value), 26U);
    EXPECT_STREQ(static_cast<const char*>(context.tokens[4]->value), "red");
}

TEST(HandlerContext, CarriesAProxyAsTextInEveryFormWithItsKind) {
    const std::map<std::string, std::uint32_t> kinds{{"10.1.2.3", CALLHOME_VALUE_IPV4},
                                                     {"2001:db8::1", CALLHOME_VALUE_IPV6},
                                                     {"proxy.example.org", CALLHOME_VALUE_HOST_NAME}};
    for (const auto& [proxy, kind] : kinds) {
        const ParseResult result =
            parse_line(grammar(), mode_named("call-home"), "transport http proxy server " + proxy);
        HandlerContext handler_context(std::get<ParsedCommand>(result), true);
        const TokenRecord& token = *handler_context.get()->tokens[1];
        EXPECT_STREQ(static_cast<const char*>(token.value), proxy.c_str());
        EXPECT_EQ(token.value_kind, kind);
        EXPECT_EQ(token.value_type, 0U);
    }
}

TEST(Parser, GivesEachAlertGroupTheKeywordThatTheLibraryKnows) {
    const std::map<std::string, unsigned> groups{
        {"system", 28},
        {"environmental", 29},
        {"linecard-hardware", 30},
        {"supervisor-hardware", 31},
        {"inventory", 32},
        {"test", 33},
        {"all", 34},
        {"OBX", 36},
        {"ZUVA-TAC", 37},
        {"license", 38},
        {"configuration", 39},
        {"syslog-group-port", 40},
        {"Diagnostic", 63},
        {"life-cycle", 68},
        {"RMON", 82},
        {"pelago", 83},
        {"crash", 103},
    };
    for (const auto& [name, keyword] : groups) {
        EXPECT_EQ(parsed("call-home", "destination-profile noc alert-group " + name),
                  "callhome_alert_groups: 22=noc " + std::to_string(keyword) + "=" + name);
    }
}

}  // namespace
}  // namespace callhome::shell
