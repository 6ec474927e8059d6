// What a schema demands. That documents are what their schemas say is tested with the whole program.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "platform/command_output.h"

namespace callhome::platform {
namespace {

using nlohmann::json;

json schema_of(const Members& members) {
    return json::parse(json_schema("show things", "Shows things", members));
}

TEST(SchemaTest, ADisplayThatWasRefusedHasItsListsAndNothingElse) {
    const json schema = schema_of({{"name", ValueType::text, true}, {"things[]/id"}, {"lines[]"}, {"a/b"}});
    EXPECT_EQ(schema["required"], (json{"things", "lines"}));
    EXPECT_FALSE(schema["properties"]["a"].contains("required"));
}

TEST(SchemaTest, AnElementHasWhatIsAlwaysThere) {
    const json schema =
        schema_of({{"things[]/id", ValueType::number, true}, {"things[]/at", ValueType::time}});
    const json& items = schema["properties"]["things"]["items"];
    EXPECT_EQ(items["required"], json::array({"id"}));
    EXPECT_EQ(items["properties"]["id"]["type"], "integer");
    EXPECT_EQ(items["properties"]["at"]["format"], "date-time");
}

TEST(SchemaTest, LinesMayComeWithAnyDisplayAndOtherMembersWithNone) {
    const json schema = schema_of({{"name"}});
    for (const char* lines : {"text", "errors", "configuration"}) {
        EXPECT_EQ(schema["properties"][lines]["items"]["type"], "string") << lines;
    }
    EXPECT_EQ(schema["additionalProperties"], false);
    EXPECT_FALSE(schema.contains("required"));
}

TEST(SchemaTest, XmlNamesTheElementsOfAList) {
    const std::string schema = xml_schema("show things", "Shows <things>", {{"things[]/addresses[]"}});
    EXPECT_NE(schema.find("<xs:documentation>show things: Shows &lt;things&gt;</xs:documentation>"),
              std::string::npos);
    for (const char* name : {"callhome", "things", "thing", "addresses", "address"}) {
        EXPECT_NE(schema.find("<xs:element name=\"" + std::string(name) + "\""), std::string::npos) << name;
    }
}

}  // namespace
}  // namespace callhome::platform
