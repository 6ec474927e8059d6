#include "signatures/signature_file.h"

#include <gtest/gtest.h>

#include "sample.h"
#include "schema_check.h"

namespace callhome::service {
namespace {

using protocol::ResultCode;
using tests::SampleFile;
using tests::why_invalid_signature;

Signature signature_from(const std::string& xml) {
    auto read = read_signature(xml);
    if (const auto* refusal = std::get_if<Refusal>(&read)) {
        ADD_FAILURE() << refusal->why << "\n" << xml;
        return {};
    }
    return std::get<Signature>(std::move(read));
}

// ok for a text that is a signature.
ResultCode code_of(const std::string& xml) {
    const auto read = read_signature(xml);
    const auto* refusal = std::get_if<Refusal>(&read);
    return refusal == nullptr ? ResultCode::ok : refusal->code;
}

std::string why_refused(const std::string& xml) {
    const auto read = read_signature(xml);
    const auto* refusal = std::get_if<Refusal>(&read);
    return refusal == nullptr ? "" : refusal->why;
}

std::string times(std::size_t count, const std::string& text) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

std::string variables(const std::string& inner) {
    return "<variables>" + inner + "</variables>";
}

// As many as asked for, each with a name of its own.
std::string many_variables(int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += "<variable name=\"ds_" + std::to_string(i) +
               "\"><prompt>?</prompt><default>a</default><pattern>a</pattern></variable>";
    }
    return variables(all);
}

TEST(SignatureFile, WithAllItsPartsIsRead) {
    Signature expected;
    expected.id = 4711;
    expected.name = "sample";
    expected.revision = "1.0";
    expected.author = "Ada Marlowe";
    expected.description = "First line.\n\n  An indented one.";
    expected.required_version = "1.2";
    expected.event = LogEvent{"link  is (down|<gone>)$"};
    expected.variables = {
        {.name = "ds_site", .prompt = "Which site?", .default_value = "north 1", .pattern = "[a-z]+ [0-9]"},
        {.name = "ds_ticket", .prompt = "", .default_value = std::nullopt, .pattern = ""},
        {.name = "ds_empty", .prompt = "", .default_value = "", .pattern = ""},
    };
    expected.commands = {"show callhome", "show callhome message $ds_ticket"};
    expected.subject = "$ds_host at $ds_site";
    expected.text = "$ds_output\n  at ${ds_site}";
    expected.alert_group = "environmental";
    expected.execution_limit = 10;
    expected.removed_at_limit = true;
    const Signature read = signature_from(
        SampleFile()
            .with("description",
                  "<description>\n\n    First line.\n\n      An indented one.\n  </description>")
            .with("requiredVersion", "<requiredVersion> 1.2 </requiredVersion>")
            .with("event", "<event><log> link  is (down|&lt;gone&gt;)$ </log></event>")
            .with("variables",
                  variables("<variable name='ds_site'><prompt>Which\n  site?</prompt>"
                            "<default>north 1</default><pattern>[a-z]+ [0-9]</pattern></variable>"
                            "<variable name='ds_ticket'/><variable name='ds_empty'><default/></variable>"))
            .with("commands",
                  "<commands><command> show\n callhome </command>"
                  "<command>show callhome message $ds_ticket</command></commands>")
            .with("message",
                  "<message><text>\n  $ds_output\n    at ${ds_site}\n</text>"
                  "<subject>$ds_host at $ds_site</subject></message>")
            .with("alertGroup", "<alertGroup>environmental</alertGroup>")
            .with("executionLimit", "<executionLimit remove='true'>10</executionLimit>")
            .text());
    EXPECT_EQ(read, expected);
}

TEST(SignatureFile, WithoutWhatMayLackHasItsDefaults) {
    const Signature read = signature_from(SampleFile().text());
    EXPECT_EQ(read.alert_group, "Diagnostic");
    EXPECT_EQ(read.required_version, "");
    EXPECT_EQ(read.execution_limit, 0U);
    EXPECT_FALSE(read.removed_at_limit);
    EXPECT_TRUE(read.variables.empty());
}

TEST(SignatureFile, HasOneEventOfEachKind) {
    const auto event_of = [](const std::string& inner) {
        return signature_from(SampleFile().with("event", "<event>" + inner + "</event>").text()).event;
    };
    EXPECT_EQ(event_of("<log>a+</log>"), SignatureEvent(LogEvent{"a+"}));
    EXPECT_EQ(event_of("<timer><every>300</every></timer>"),
              SignatureEvent(TimerEvent{std::chrono::minutes(5)}));
    EXPECT_EQ(event_of("<timer><cron>\n*/5  8-18 * * mon-fri\n</cron></timer>"),
              SignatureEvent(CronEvent{"*/5 8-18 * * mon-fri"}));
    EXPECT_EQ(event_of("<onDemand/>"), SignatureEvent(OnDemandEvent{}));
}

TEST(SignatureFile, IsReadWhateverItsPrefixCommentsAndSections) {
    std::string text = SampleFile().text();
    std::string prefixed;
    for (std::size_t at = 0; at < text.size(); ++at) {
        prefixed += text[at];
        const bool starts = text[at] == '<' && text[at + 1] != '?';
        if (starts && text[at + 1] == '/') {
            prefixed += text[++at];
        }
        prefixed += starts ? "s:" : "";
    }
    prefixed.replace(prefixed.find("xmlns="), 6, "xmlns:s=");
    EXPECT_EQ(signature_from(prefixed), signature_from(text));
    const std::string commented = SampleFile()
                                      .with_prolog("<!-- <a 'b -->\n<?x y='1'?>\n")
                                      .with("name", "<name><!-- no -->sam<![CDATA[ple]]></name>")
                                      .text();
    EXPECT_EQ(signature_from(commented), signature_from(text));
}

// What the schema says of the same text.
enum class InSchema : std::uint8_t { valid, invalid };

struct FileCase {
    const char* what;
    std::string xml;
    ResultCode code;
    InSchema in_schema = InSchema::invalid;
};

SampleFile with(const std::string& name, const std::string& xml) {
    return SampleFile().with(name, xml);
}

SampleFile with_id(const std::string& attributes) {
    return SampleFile().with_root("<diagnosticSignature xmlns=\"urn:callhome:signature:1\" " + attributes +
                                  ">");
}

SampleFile with_event(const std::string& inner) {
    return with("event", "<event>" + inner + "</event>");
}

SampleFile with_variable(const std::string& inner, const std::string& name = "ds_a") {
    return with("variables", variables("<variable name='" + name + "'>" + inner + "</variable>"));
}

SampleFile with_message(const std::string& subject, const std::string& text) {
    return with("message",
                "<message><subject>" + subject + "</subject><text>" + text + "</text></message>");
}

SampleFile with_command(const std::string& command) {
    return with("commands", "<commands><command>" + command + "</command></commands>");
}

std::vector<FileCase> good_files() {
    constexpr auto ok = ResultCode::ok;
    constexpr auto valid = InSchema::valid;
    return {
        {"the sample", SampleFile().text(), ok, valid},
        {"the highest id", with_id("id='99999999'").text(), ok, valid},
        {"the longest name", with("name", "<name>" + times(31, "n") + "</name>").text(), ok, valid},
        {"the longest revision", with("revision", "<revision>2024.1-b</revision>").text(), ok, valid},
        {"the longest subject", with_message(times(255, "s"), "t").text(), ok, valid},
        {"the longest text", with_message("s", times(16'384, "t")).text(), ok, valid},
        {"the longest prompt", with_variable("<prompt>" + times(127, "p") + "</prompt>").text(), ok, valid},
        {"the longest default", with_variable("<default>" + times(127, "d") + "</default>").text(), ok,
         valid},
        {"the longest name of a variable", with_variable("", "ds_345678901234").text(), ok, valid},
        {"all variables", with("variables", many_variables(64)).text(), ok, valid},
        {"all commands",
         with("commands", "<commands>" + times(32, "<command>show version</command>") + "</commands>")
             .text(),
         ok, valid},
        {"a long timer", with_event("<timer><every>31622400</every></timer>").text(), ok, valid},
        {"a high limit", with("executionLimit", "<executionLimit>1000000</executionLimit>").text(), ok,
         valid},
        {"no removal", with("executionLimit", "<executionLimit remove='false'>1</executionLimit>").text(),
         ok, valid},
        {"dollar signs", with_message("$5 $$ds_x $", "100$").text(), ok, valid},
        {"other scripts", with("author", "<author>Zürich 東京</author>").text(), ok, valid},
        {"a group of mixed case", with("alertGroup", "<alertGroup>OBX</alertGroup>").text(), ok, valid},
    };
}

std::vector<FileCase> wrong_wholes() {
    return {
        {"nothing", "", ResultCode::xml_unreadable},
        {"no XML", "link is down", ResultCode::xml_unreadable},
        {"half a file", SampleFile().text().substr(0, 200), ResultCode::xml_unreadable},
        {"something behind it", SampleFile().text() + "<more/>", ResultCode::xml_unreadable},
        {"an entity that nobody declared", with("author", "<author>&ada;</author>").text(),
         ResultCode::xml_unreadable},
        {"an attribute twice", with_id("id='1' id='2'").text(), ResultCode::xml_unreadable},
        {"a number that is no character", with("author", "<author>&#0;</author>").text(),
         ResultCode::xml_unreadable},
        {"another root", "<other xmlns='urn:callhome:signature:1' id='1'/>", ResultCode::tag_unsupported},
        {"another namespace", "<diagnosticSignature xmlns='urn:callhome:message:1' id='1'/>",
         ResultCode::tag_unsupported},
        {"no namespace", "<diagnosticSignature id='1'/>", ResultCode::tag_unsupported},
        {"a prefix that is not declared", with("author", "<x:author>Ada</x:author>").text(),
         ResultCode::tag_unsupported},
        {"an unknown element", with("colour", "<colour>red</colour>").text(), ResultCode::tag_unsupported},
        {"an element in a text", with("author", "<author>Ada <b>M</b></author>").text(),
         ResultCode::tag_unsupported},
        {"an unknown attribute", with("author", "<author mail='a@b'>Ada</author>").text(),
         ResultCode::tag_unsupported},
        {"an unknown attribute of the root", with_id("id='1' version='2'").text(),
         ResultCode::tag_unsupported},
        {"text beside elements", with("stray", "stray text").text(), ResultCode::signature_invalid},
        {"no id", with_id("").text(), ResultCode::id_invalid},
        {"an empty id", with_id("id=''").text(), ResultCode::id_invalid},
        {"the id 0", with_id("id='0'").text(), ResultCode::id_invalid},
        {"a negative id", with_id("id='-1'").text(), ResultCode::id_invalid},
        {"an id of nine digits", with_id("id='100000000'").text(), ResultCode::id_invalid},
        {"an id that is none", with_id("id='0x12'").text(), ResultCode::id_invalid},
        {"an id in blanks", with_id("id=' 1 '").text(), ResultCode::id_invalid},
        {"no name", with("name", "").text(), ResultCode::signature_invalid},
        {"no revision", with("revision", "").text(), ResultCode::signature_invalid},
        {"no author", with("author", "").text(), ResultCode::signature_invalid},
        {"no description", with("description", "").text(), ResultCode::signature_invalid},
        {"no commands", with("commands", "").text(), ResultCode::signature_invalid},
        {"no message", with("message", "").text(), ResultCode::signature_invalid},
        {"two names", with("name2", "<name>again</name>").text(), ResultCode::signature_invalid},
        {"a message without subject", with("message", "<message><text>t</text></message>").text(),
         ResultCode::signature_invalid},
    };
}

std::vector<FileCase> wrong_texts() {
    return {
        {"an empty name", with("name", "<name> </name>").text(), ResultCode::signature_invalid},
        {"a name with a blank", with("name", "<name>link flap</name>").text(),
         ResultCode::signature_invalid},
        {"a name with a percent sign", with("name", "<name>%s</name>").text(),
         ResultCode::signature_invalid},
        {"a long name", with("name", "<name>" + times(32, "n") + "</name>").text(),
         ResultCode::over_length},
        {"a long revision", with("revision", "<revision>123456789</revision>").text(),
         ResultCode::over_length},
        {"a long author", with("author", "<author>" + times(64, "a") + "</author>").text(),
         ResultCode::over_length},
        {"an empty description", with("description", "<description>\n \n</description>").text(),
         ResultCode::signature_invalid},
        {"a long description",
         with("description", "<description>" + times(4097, "d") + "</description>").text(),
         ResultCode::over_length},
        {"a long subject", with_message(times(256, "s"), "t").text(), ResultCode::over_length},
        {"a long text", with_message("s", times(16'385, "t")).text(), ResultCode::over_length},
        {"an empty subject", with_message("", "t").text(), ResultCode::signature_invalid},
        {"a version in words", with("requiredVersion", "<requiredVersion>new</requiredVersion>").text(),
         ResultCode::parameter_invalid},
        {"a version that ends in a point",
         with("requiredVersion", "<requiredVersion>1.</requiredVersion>").text(),
         ResultCode::parameter_invalid},
        {"an unknown group", with("alertGroup", "<alertGroup>obx</alertGroup>").text(),
         ResultCode::event_group_missing},
        {"a limit of 0", with("executionLimit", "<executionLimit>0</executionLimit>").text(),
         ResultCode::parameter_invalid},
        {"a limit beyond all", with("executionLimit", "<executionLimit>1000001</executionLimit>").text(),
         ResultCode::parameter_invalid},
        {"a limit in words", with("executionLimit", "<executionLimit>ten</executionLimit>").text(),
         ResultCode::parameter_invalid},
        {"an unsure removal",
         with("executionLimit", "<executionLimit remove='maybe'>1</executionLimit>").text(),
         ResultCode::parameter_invalid},
        {"a command that changes things", with_command("configure terminal").text(),
         ResultCode::action_wrong},
        {"a command that begins like show", with_command("shower").text(), ResultCode::action_wrong},
        {"a command out of a variable", with_command("$ds_command").text(), ResultCode::action_wrong},
        {"an empty command", with_command(" ").text(), ResultCode::signature_invalid},
        {"a long command", with_command("show " + times(251, "v")).text(), ResultCode::over_length},
        {"an empty list of commands", with("commands", "<commands/>").text(),
         ResultCode::signature_invalid},
        {"too many commands",
         with("commands", "<commands>" + times(33, "<command>show version</command>") + "</commands>")
             .text(),
         ResultCode::over_length},
        {"another thing to do", with("commands", "<commands><script>id</script></commands>").text(),
         ResultCode::tag_unsupported},
    };
}

std::vector<FileCase> wrong_events() {
    constexpr auto valid = InSchema::valid;
    return {
        {"no event", with("event", "").text(), ResultCode::event_missing},
        {"an empty event", with_event("").text(), ResultCode::event_incomplete},
        {"two events", with_event("<onDemand/><log>a</log>").text(), ResultCode::multiple_events},
        {"two events apart", with("event2", "<event><onDemand/></event>").text(),
         ResultCode::multiple_events},
        {"an event of another kind", with_event("<trap>1.3.6</trap>").text(),
         ResultCode::event_tag_invalid},
        {"a script", with_event("<script>return 1</script>").text(), ResultCode::event_script_unsupported},
        {"an empty pattern", with_event("<log/>").text(), ResultCode::event_incomplete},
        {"a pattern that is none", with_event("<log>(open</log>").text(), ResultCode::pattern_invalid,
         valid},
        {"a pattern with a look-ahead", with_event("<log>(?=a)</log>").text(), ResultCode::pattern_invalid,
         valid},
        {"a pattern of every line", with_event("<log>a*</log>").text(), ResultCode::pattern_invalid, valid},
        {"a pattern of two lines", with_event("<log>a\nb</log>").text(), ResultCode::signature_invalid},
        {"a long pattern", with_event("<log>" + times(1025, "a") + "</log>").text(),
         ResultCode::over_length},
        {"an empty timer", with_event("<timer/>").text(), ResultCode::event_incomplete},
        {"two timers", with_event("<timer><every>1</every><cron>* * * * *</cron></timer>").text(),
         ResultCode::multiple_events},
        {"a timer of another kind", with_event("<timer><countdown>5</countdown></timer>").text(),
         ResultCode::timer_tag_invalid},
        {"a timer of no time", with_event("<timer><every>0</every></timer>").text(),
         ResultCode::parameter_invalid},
        {"a timer of a year and a day", with_event("<timer><every>31622401</every></timer>").text(),
         ResultCode::parameter_invalid},
        {"a timer in words", with_event("<timer><every>hour</every></timer>").text(),
         ResultCode::parameter_invalid},
        {"four fields", with_event("<timer><cron>* * * *</cron></timer>").text(), ResultCode::cron_invalid},
        {"a minute that is none", with_event("<timer><cron>60 * * * *</cron></timer>").text(),
         ResultCode::cron_invalid, valid},
        {"a day that is none", with_event("<timer><cron>0 0 30 2 *</cron></timer>").text(),
         ResultCode::cron_invalid, valid},
        {"something on demand", with_event("<onDemand>now</onDemand>").text(),
         ResultCode::signature_invalid},
    };
}

std::vector<FileCase> wrong_variables() {
    constexpr auto valid = InSchema::valid;
    return {
        {"no name", with("variables", variables("<variable/>")).text(), ResultCode::variable_name_invalid},
        {"another beginning", with_variable("", "port").text(), ResultCode::variable_name_invalid},
        {"upper case", with_variable("", "ds_Port").text(), ResultCode::variable_name_invalid},
        {"no name behind ds_", with_variable("", "ds_").text(), ResultCode::variable_name_invalid},
        {"a long name", with_variable("", "ds_3456789012345").text(), ResultCode::variable_name_invalid},
        {"a name of the service's own", with_variable("", "ds_output").text(),
         ResultCode::variable_name_invalid, valid},
        {"the same name twice",
         with("variables", variables("<variable name='ds_a'/><variable name='ds_a'/>")).text(),
         ResultCode::signature_invalid},
        {"no variable", with("variables", "<variables/>").text(), ResultCode::signature_invalid},
        {"too many", with("variables", many_variables(65)).text(), ResultCode::over_length},
        {"an unknown part", with_variable("<type>number</type>").text(), ResultCode::tag_unsupported},
        {"a long prompt", with_variable("<prompt>" + times(128, "p") + "</prompt>").text(),
         ResultCode::over_length},
        {"an empty prompt", with_variable("<prompt/>").text(), ResultCode::signature_invalid},
        {"a long default", with_variable("<default>" + times(128, "d") + "</default>").text(),
         ResultCode::over_length},
        {"a default of two lines", with_variable("<default>a\nb</default>").text(),
         ResultCode::signature_invalid},
        {"a default with a filter", with_variable("<default>a | count</default>").text(),
         ResultCode::prompt_value_invalid},
        {"a default that does not match",
         with_variable("<default>abc</default><pattern>[0-9]+</pattern>").text(),
         ResultCode::prompt_value_invalid, valid},
        {"a default that matches in part",
         with_variable("<default>1a</default><pattern>[0-9]+</pattern>").text(),
         ResultCode::prompt_value_invalid, valid},
        {"a pattern that is none", with_variable("<pattern>[a</pattern>").text(),
         ResultCode::pattern_invalid, valid},
        {"a variable that is not declared", with_message("$ds_port", "t").text(),
         ResultCode::variable_unresolved, valid},
        {"one in the text", with_message("s", "on ${ds_port}").text(), ResultCode::variable_unresolved,
         valid},
        {"one in a command", with_command("show callhome message $ds_port").text(),
         ResultCode::variable_unresolved, valid},
        {"what others wrote in a command", with_command("show $ds_event").text(),
         ResultCode::variable_unresolved, valid},
        {"braces that stay open", with_message("s", "${ds_host").text(), ResultCode::variable_name_invalid,
         valid},
        {"a wrong name in a text", with_message("s", "${HOME}").text(), ResultCode::variable_name_invalid,
         valid},
    };
}

void check(const std::vector<FileCase>& cases) {
    for (const FileCase& row : cases) {
        EXPECT_EQ(code_of(row.xml), row.code) << row.what << ": " << why_refused(row.xml);
        const std::string invalid = why_invalid_signature(row.xml);
        EXPECT_EQ(invalid.empty(), row.in_schema == InSchema::valid) << row.what << ": " << invalid;
    }
}

TEST(SignatureFile, IsReadWhereReaderAndSchemaAgree) {
    check(good_files());
}
TEST(SignatureFile, ThatIsNoneAsAWholeIsRefused) {
    check(wrong_wholes());
}
TEST(SignatureFile, WithAWrongTextIsRefused) {
    check(wrong_texts());
}
TEST(SignatureFile, WithAWrongEventIsRefused) {
    check(wrong_events());
}
TEST(SignatureFile, WithAWrongVariableIsRefused) {
    check(wrong_variables());
}

TEST(SignatureFile, IsRefusedWithLineAndElement) {
    EXPECT_EQ(why_refused(with("revision", "<revision>123456789</revision>").text()),
              "line 9: revision is longer than 8 bytes");
    EXPECT_EQ(why_refused(with("alertGroup", "<alertGroup>x</alertGroup>").text()),
              "line 3: alertGroup is not the name of an alert group");
    EXPECT_EQ(why_refused(with_message("s", "$ds_port").text()), "text: $ds_port has no value here");
    EXPECT_EQ(why_refused("<a>\n<b></a>").substr(0, 8), "line 2: ");
}

}  // namespace
}  // namespace callhome::service
