#include "messages/xml_format.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xmlschemas.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <memory>

#include "messages/message_composer.h"
#include "protocol/records/message.h"
#include "samples.h"

namespace callhome::service {
namespace {

using namespace std::string_literals;

using Document = std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)>;

Document parse(const std::string& text) {
    return {xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                          XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING),
            &xmlFreeDoc};
}

void keep_error(void* errors, const xmlError* error) {
    *static_cast<std::string*>(errors) += error->message;
}

// Empty when the text is a valid message; else why it is not.
std::string why_invalid(const std::string& text) {
    const std::unique_ptr<xmlSchemaParserCtxt, decltype(&xmlSchemaFreeParserCtxt)> parser(
        xmlSchemaNewParserCtxt(MESSAGE_SCHEMA), &xmlSchemaFreeParserCtxt);
    const std::unique_ptr<xmlSchema, decltype(&xmlSchemaFree)> schema(xmlSchemaParse(parser.get()),
                                                                      &xmlSchemaFree);
    const Document document = parse(text);
    if (schema == nullptr || document == nullptr) {
        return schema == nullptr ? "the schema cannot be read" : "not well-formed: " + text;
    }
    const std::unique_ptr<xmlSchemaValidCtxt, decltype(&xmlSchemaFreeValidCtxt)> context(
        xmlSchemaNewValidCtxt(schema.get()), &xmlSchemaFreeValidCtxt);
    std::string errors;
    xmlSchemaSetValidStructuredErrors(
        context.get(), [](void* into, xmlErrorPtr error) { keep_error(into, error); }, &errors);
    const int result = xmlSchemaValidateDoc(context.get(), document.get());
    return result == 0 ? "" : "invalid: " + errors;
}

// The text of the first node that the path names; "m" is the namespace of messages.
std::string value_at(const std::string& text, const char* path) {
    const Document document = parse(text);
    const std::unique_ptr<xmlXPathContext, decltype(&xmlXPathFreeContext)> context(
        xmlXPathNewContext(document.get()), &xmlXPathFreeContext);
    xmlXPathRegisterNs(context.get(), BAD_CAST "m", BAD_CAST message_namespace);
    const std::string expression = std::string("string(") + path + ")";
    const std::unique_ptr<xmlXPathObject, decltype(&xmlXPathFreeObject)> found(
        xmlXPathEval(BAD_CAST expression.c_str(), context.get()), &xmlXPathFreeObject);
    return reinterpret_cast<const char*>(found->stringval);
}

constexpr std::size_t large = 5'000'000;

const MessageStamp stamp{"1700000000.0123456789abcdef@switch1", 1'700'000'000};

MessageContent content_of(const MessageType& type, const Configuration& configuration,
                          const std::string& parameter_1 = "one", const std::string& parameter_2 = "two") {
    return compose_content({&type, parameter_1, parameter_2, "ada"}, stamp, "ops", configuration,
                           tests::sample_inventory());
}

TEST(Xml, OfEachTypeIsValid) {
    for (const MessageType& type : message_types()) {
        const std::string text = format_xml(content_of(type, tests::sample_configuration()), large);
        EXPECT_EQ(why_invalid(text), "") << type.name;
        EXPECT_EQ(value_at(text, "/m:callHomeMessage/m:header/m:type"), type.name);
        EXPECT_EQ(value_at(text, "/m:callHomeMessage/@truncated"), "false");
    }
}

TEST(Xml, OfTheRealSystemIsValid) {
    const MessageType& type = *find_message_type("inventory", Origin::command);
    SoftwareInventory software;
    const auto content = compose_content({&type, "", "", ""}, stamp, "ops", tests::sample_configuration(),
                                         read_system_inventory(software));
    EXPECT_EQ(why_invalid(format_xml(content, large)), "");
}

TEST(Xml, WithNothingConfiguredIsValid) {
    for (const MessageType& type : message_types()) {
        EXPECT_EQ(why_invalid(format_xml(content_of(type, {}, "", ""), large)), "") << type.name;
    }
}

TEST(Xml, HoldsDeviceContactAndEvent) {
    const MessageType& type = *find_message_type("SW_CRASH", Origin::command);
    const std::string text =
        format_xml(content_of(type, tests::sample_configuration(), "routed", "signal 11"), large);
    EXPECT_EQ(value_at(text, "//m:event/m:process"), "routed");
    EXPECT_EQ(value_at(text, "//m:event/m:reason"), "signal 11");
    EXPECT_EQ(value_at(text, "//m:device/m:serialNumber"), "SN-1");
    EXPECT_EQ(value_at(text, "//m:device/m:uptime"), "3 days 04:05:06");
    EXPECT_EQ(value_at(text, "//m:contact/m:email"), "ada@example.com");
    EXPECT_EQ(value_at(text, "//m:contact/m:switchPriority"), "7");
    EXPECT_EQ(value_at(text, "//m:header/m:id"), stamp.id);
    EXPECT_EQ(value_at(text, "//m:header/m:requestedBy"), "ada");
    EXPECT_EQ(value_at(text, "//m:section[@id='state']/m:group[1]/m:entry[@name='Load']"),
              "0.10 0.20 0.30");
}

TEST(Xml, OfASignatureHoldsTheOutputOfItsCommands) {
    const MessageType& type = *find_message_type(signature_message, Origin::signature);
    const SignatureReport report{
        17,
        "link-flapping",
        "3",
        "eth0: <link> down",
        "Link flapping",
        "Look\nat the cable",
        "Diagnostic",
        "",
        {{"show callhome", " a & b\n", ""}, {"show version", "", "could not be started"}}};
    const std::string text =
        format_xml(compose_content({&type, {}, {}, {}, &report}, stamp, "ops",
                                   tests::sample_configuration(), tests::sample_inventory()),
                   large);
    EXPECT_EQ(why_invalid(text), "");
    EXPECT_EQ(value_at(text, "//m:event/m:signature"), "17 link-flapping, revision 3");
    EXPECT_EQ(value_at(text, "//m:event/m:trigger"), "eth0: <link> down");
    EXPECT_EQ(value_at(text, "//m:event/m:text"), "Look\nat the cable");
    EXPECT_EQ(value_at(text, "//m:section[@title='Output of show callhome']/m:line[1]"), " a & b");
    EXPECT_EQ(value_at(text, "//m:section[@id='command-2']/m:line"), "(could not be started)");
}

TEST(Xml, OfAnEventTellsHowOftenItCameAndShowsTheOperatorsCommandsBehindThoseOfASignature) {
    const MessageType type = event_type("SUP_FAILURE", protocol::severity_of_its_name).value();
    const std::vector<CommandOutput> outputs{{"show version", "1 < 2\n", ""}};
    MessageSubject subject{&type, "system manager", "down", "ada"};
    subject.repeated = "3 times since 2023-11-14T22:13:20+00:00";
    subject.outputs = outputs;
    const auto document = [&] {
        return format_xml(compose_content(subject, stamp, "ops", tests::sample_configuration(),
                                          tests::sample_inventory()),
                          large);
    };
    EXPECT_EQ(why_invalid(document()), "");
    EXPECT_EQ(value_at(document(), "//m:event/m:source"), "system manager");
    EXPECT_EQ(value_at(document(), "//m:event/m:repeated"), subject.repeated);
    EXPECT_EQ(value_at(document(), "//m:section[@id='command-1']/m:line"), "1 < 2");
    SignatureReport report;
    report.outputs = {{"show callhome", "on\n", ""}};
    subject = {find_message_type(signature_message, Origin::signature), "", "", "", &report};
    subject.outputs = outputs;
    EXPECT_EQ(why_invalid(document()), "");
    EXPECT_EQ(value_at(document(), "//m:section[@id='command-1']/m:line"), "on");
    EXPECT_EQ(value_at(document(), "//m:section[@id='command-2']/m:line"), "1 < 2");
}

TEST(Xml, OfTheConfigurationHoldsItsCommands) {
    const MessageType& type = *find_message_type("PERIODIC_CONFIGURATION", Origin::command);
    const std::string text = format_xml(content_of(type, tests::sample_configuration()), large);
    EXPECT_EQ(value_at(text, "//m:section[@id='configuration']/m:line[2]"),
              "email-contact ada@example.com");
}

const std::vector<std::string> hostile_texts{
    "]]>",
    "<!--",
    "<a b='c'>&amp;\"",
    "&#0;&undefined;",
    "\x1b[31m\x07",
    "a\0b"s,
    "\xFF\xFE\xC3",
    "\xED\xA0\x80\xEF\xBF\xBF",
    "\r\n\r\n",
    " ",
    "<!DOCTYPE x [<!ENTITY y SYSTEM 'file:///etc/passwd'>]>",
    std::string(100'000, 'x'),
    std::string(3000, '\xF0'),
};

TEST(Xml, StaysValidWhateverAFieldHolds) {
    for (const std::string& hostile : hostile_texts) {
        Configuration configuration = tests::sample_configuration();
        for (auto& [name, value] : configuration.contact) {
            value = hostile;
        }
        configuration.profiles.front().name = hostile;
        configuration.profiles.front().email_addresses.front().address = hostile;
        configuration.mail.from = hostile;
        SystemInventory inventory = tests::sample_inventory();
        inventory.host_name = inventory.product = inventory.serial_number = hostile;
        inventory.interfaces.front().name = hostile;
        for (const MessageType& type : message_types()) {
            const auto content =
                compose_content({&type, hostile, hostile, hostile}, stamp, "ops", configuration, inventory);
            EXPECT_EQ(why_invalid(format_xml(content, large)), "") << type.name;
            EXPECT_EQ(why_invalid(format_xml(content, 1)), "") << type.name;
        }
    }
}

TEST(Xml, LeavesAFieldAsItIsWhenItIsGoodText) {
    Configuration configuration = tests::sample_configuration();
    configuration.contact["sysContact"] = "Ada ]]> <Zürich> & \"東京\"";
    const std::string text =
        format_xml(content_of(*find_message_type("test", Origin::command), configuration), large);
    EXPECT_EQ(value_at(text, "//m:contact/m:name"), "Ada ]]> <Zürich> & \"東京\"");
}

TEST(Xml, ThatIsTooLongLosesItsLongestSectionsFirstAndSaysSo) {
    const MessageType& type = *find_message_type("inventory", Origin::command);
    MessageContent content = content_of(type, tests::sample_configuration());
    const std::size_t whole = format_xml(content, large).size();
    content.sections.front().groups.front().entries.front().second = std::string(10'000, 'x');
    const std::string text = format_xml(content, whole);
    EXPECT_EQ(why_invalid(text), "");
    EXPECT_LE(text.size(), whole);
    EXPECT_EQ(value_at(text, "/m:callHomeMessage/@truncated"), "true");
    EXPECT_EQ(value_at(text, "//m:section[@id='interfaces']/@id"), "");
    EXPECT_EQ(value_at(text, "//m:section[@id='hardware']/@id"), "hardware");
}

TEST(Xml, IsValidAndKeepsToEachSizeThatCanHoldAMessage) {
    const MessageType& type = *find_message_type("SW_CRASH", Origin::command);
    const MessageContent content =
        content_of(type, tests::sample_configuration(), std::string(3000, 'p'), std::string(3000, 'r'));
    constexpr std::size_t smallest = 2000;
    constexpr std::size_t step = 97;
    for (std::size_t size = smallest; size < 10'000; size += step) {
        const std::string text = format_xml(content, size);
        EXPECT_LE(text.size(), size);
        EXPECT_EQ(why_invalid(text), "") << size;
    }
}

}  // namespace
}  // namespace callhome::service
