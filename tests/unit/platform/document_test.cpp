// Documents as JSON and as XML.
#include "document.h"

#include <gtest/gtest.h>

namespace callhome::platform {
namespace {

using namespace std::string_literals;

constexpr const char* xml_head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<callhome>\n";

TEST(DocumentTest, PlacesLeadThroughObjectsAndIntoTheLastOfAList) {
    Document document({});
    document.set("contact/address/city", "Lyon"s);
    document.begin_element("things[]");
    document.set("things[]/id", std::int64_t{1});
    document.begin_element("things[]");
    document.set("things[]/id", std::int64_t{2});
    document.set("things[]/names[]", "a"s);
    document.set("things[]/names[]", "b"s);
    document.set("on", true);
    EXPECT_EQ(document.json(), R"({
  "contact": {
    "address": {
      "city": "Lyon"
    }
  },
  "things": [
    {
      "id": 1
    },
    {
      "id": 2,
      "names": [
        "a",
        "b"
      ]
    }
  ],
  "on": true
}
)");
    EXPECT_EQ(document.xml(), xml_head + R"(  <contact>
    <address>
      <city>Lyon</city>
    </address>
  </contact>
  <things>
    <thing>
      <id>1</id>
    </thing>
    <thing>
      <id>2</id>
      <names>
        <name>a</name>
        <name>b</name>
      </names>
    </thing>
  </things>
  <on>true</on>
</callhome>
)"s);
}

TEST(DocumentTest, AMemberOfAnElementThatWasNeverBegunBeginsOne) {
    Document document({});
    document.set("things[]/id", std::int64_t{1});
    EXPECT_EQ(document.json(), "{\n  \"things\": [\n    {\n      \"id\": 1\n    }\n  ]\n}\n");
}

TEST(DocumentTest, ADeclaredListIsThereWhenItIsEmpty) {
    Document document({{"messages[]/id"}, {"version"}});
    document.begin_element("profiles[]");
    document.declare_list("profiles[]/urls[]");
    EXPECT_EQ(document.json(),
              "{\n  \"messages\": [],\n  \"profiles\": [\n    {\n      \"urls\": []\n    }\n  ]\n}\n");
    EXPECT_EQ(document.xml(), xml_head + R"(  <messages />
  <profiles>
    <profile>
      <urls />
    </profile>
  </profiles>
</callhome>
)"s);
}

struct Text {
    const char* what;
    std::string text, json, xml;
};

const Text texts[] = {
    {"markup and quotes", "<a href=\"x\">&amp;\\</a>", R"(<a href=\"x\">&amp;\\</a>)",
     "&lt;a href=\"x\"&gt;&amp;amp;\\&lt;/a&gt;"},
    {"the end of a CDATA section", "]]>", "]]>", "]]&gt;"},
    {"other scripts", "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x93\x9E", "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x93\x9E",
     "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x93\x9E"},
    {"blanks, tabs and line ends", "  a\tb\nc ", R"(  a\tb\nc )", "  a\tb\nc "},
    {"only blanks", "  ", "  ", "  "},
    {"control characters", "\x1B[2J\r\x01\x7F", R"(\u001b[2J\r\u0001\u007f)", R"(\x1b[2J\x0d\x01\x7f)"},
    {"C1 control characters", "\xC2\x9B\xC2\xA0", "\\u009b\xC2\xA0", "\\xc2\\x9b\xC2\xA0"},
    {"a null byte", "a\0z"s, R"(a\u0000z)", R"(a\x00z)"},
    {"what is not UTF-8", "a\xFF\xC0\xAF", "a\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD",
     "a\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
    {"a character cut short", "a\xE2\x82", "a\xEF\xBF\xBD", "a\xEF\xBF\xBD"},
    {"what is no character", "\xEF\xBF\xBE\xEF\xBF\xBF\xEF\xBF\xBD", "\xEF\xBF\xBE\xEF\xBF\xBF\xEF\xBF\xBD",
     "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
};

TEST(DocumentTest, AnyTextCanBeCarried) {
    for (const Text& row : texts) {
        Document document({});
        document.set("text", row.text);
        EXPECT_EQ(document.json(), "{\n  \"text\": \"" + row.json + "\"\n}\n") << row.what;
        EXPECT_EQ(document.xml(), xml_head + ("  <text>" + row.xml + "</text>\n</callhome>\n")) << row.what;
    }
}

TEST(DocumentTest, AnElementIsCalledAsTheListWithoutItsPlural) {
    EXPECT_EQ(element_name("email_addresses"), "email_address");
    EXPECT_EQ(element_name("destination_profiles"), "destination_profile");
    EXPECT_EQ(element_name("errors"), "error");
    EXPECT_EQ(element_name("deliveries"), "delivery");
    EXPECT_EQ(element_name("text"), "line");
    EXPECT_EQ(element_name("configuration"), "line");
}

}  // namespace
}  // namespace callhome::platform
