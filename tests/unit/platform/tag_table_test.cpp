// Every tag of the command library has its place in a document.
#include "tag_table.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace callhome::platform {
namespace {

struct Shown {
    std::uint32_t tag;
    const char* text;
};

// The JSON document of a display, without line ends and blanks; what had no place stands after it.
std::string document_of(const std::vector<Shown>& display, const char* name) {
    Document document(library_document(name));
    std::string without_place;
    for (const Shown& shown : display) {
        if (!take_tuple(document, shown.tag, shown.text)) {
            without_place += shown.text;
        }
    }
    std::string compact;
    for (const char character : document.json()) {
        compact += character == '\n' || character == ' ' ? std::string() : std::string(1, character);
    }
    return compact + without_place;
}

TEST(TagTableTest, TheSummaryIsAnObjectOfSettings) {
    EXPECT_EQ(document_of(
                  {
                      {0x30740001, "callhome enabled\n"},
                      {0x30740002, "Callhome Information:\n"},
                      {0x30740003, "contact person name(sysContact):"},
                      {0x30740004, "Ann\n"},
                      {0x30740005, "contact person's email:"},
                      {0x30740006, "ann@example.org\n"},
                      {0x30740007, "contact person's phone number:"},
                      {0x30740008, "+1-555\n"},
                      {0x30740009, "street addr:"},
                      {0x3074000A, "Street5\n"},
                      {0x3074000B, "site id:"},
                      {0x3074000C, "site\n"},
                      {0x3074000D, "customer id:"},
                      {0x3074000E, "customer\n"},
                      {0x3074000F, "contract id:"},
                      {0x30740010, "contract\n"},
                      {0x30740011, "switch priority:"},
                      {0x30740012, "7\n"},
                      {0x30740013, "duplicate message throttling : disabled\n"},
                      {0x30740014, "periodic inventory : enabled\n"},
                      {0x30740015, "periodic inventory time-period : 7 days\n"},
                      {0x30740016, "periodic inventory timeofday : 08:00 (HH:MM)\n"},
                      {0x30740017, "Distribution : Enabled\n"},
                      {0x30740018, "Data-privacy : high and hostname\n"},
                  },
                  "summary"),
              R"({"enabled":true,"contact":{"person":"Ann","email":"ann@example.org","phone":"+1-555",)"
              R"("street_address":"Street5","site_id":"site","customer_id":"customer",)"
              R"("contract_id":"contract","switch_priority":7},"duplicate_message_throttling":false,)"
              R"("periodic_inventory":{"enabled":true,"period_days":7,"time_of_day":"08:00"},)"
              R"("distribution":true,"data_privacy":{"level":"high","host_name_masked":true}})");
}

TEST(TagTableTest, ADayIsAlsoAPeriodAndAHostNameIsNotAlwaysMasked) {
    EXPECT_EQ(document_of({{0x30740015, "periodic inventory time-period : 1 day\n"},
                           {0x30740017, "Distribution : Disabled\n"},
                           {0x30740018, "Data-privacy : normal\n"}},
                          "summary"),
              R"({"periodic_inventory":{"period_days":1},"distribution":false,)"
              R"("data_privacy":{"level":"normal","host_name_masked":false}})");
}

constexpr const char* one_profile =
    R"({"destination_profiles":[{"name":"p","maximum_message_size":4000,"message_level":-1,)"
    R"("transport_methods":["email","http"],"email_addresses":["a@b.c","d@e.f"],)"
    R"("url_addresses":["http://x"],"alert_groups":["all"]}]})";
constexpr const char* one_profile_with_format =
    R"({"destination_profiles":[{"name":"p","maximum_message_size":4000,"message_format":"short-txt",)"
    R"("message_level":-1,)"
    R"("transport_methods":["email","http"],"email_addresses":["a@b.c","d@e.f"],)"
    R"("url_addresses":["http://x"],"alert_groups":["all"]}]})";

// A profile as a display shows it whose tags follow one another from `tag` on.
std::vector<Shown> profile_display(std::uint32_t tag, bool has_format) {
    std::vector<Shown> display{{tag++, "maximum message size:4000\n"}};
    if (has_format) {
        display.push_back({tag++, "message format:short-txt\n"});
    }
    display.push_back({tag++, "message-level:-1\n"});
    display.push_back({tag++, "transport-method:email and http\n"});
    display.push_back({tag++, "email addresses configured:\n"});
    display.push_back({tag, "a@b.c\n"});
    display.push_back({tag++, "d@e.f\n"});
    display.push_back({tag++, "url addresses configured:\n"});
    display.push_back({tag++, "http://x\n"});
    display.push_back({tag++, "alert groups configured:\n"});
    display.push_back({tag, "all\n"});
    return display;
}

struct ProfileDisplay {
    std::uint32_t header;
    std::uint32_t rest;
    bool has_format;
    const char* header_text;
};

constexpr ProfileDisplay profile_displays[] = {
    {0x30740019, 0x3074001D, true, "\np destination profile information\n"},
    {0x3074001A, 0x3074001D, true, "p destination profile information\n"},
    {0x3074001B, 0x3074001D, true, "p destination profile information\n"},
    {0x3074001C, 0x3074001D, true, "p destination profile information\n"},
    {0x30740027, 0x30740028, false, "p destination profile information\n"},
    {0x30740031, 0x30740032, false, "p destination profile information\n"},
    {0x3074003B, 0x3074003C, false, "p destination profile information\n"},
    {0x30740046, 0x30740047, true, "p destination profile information\n"},
};

TEST(TagTableTest, AllDisplaysOfProfilesGiveTheSameNames) {
    for (const ProfileDisplay& row : profile_displays) {
        std::vector<Shown> display = profile_display(row.rest, row.has_format);
        display.insert(display.begin(), {row.header, row.header_text});
        EXPECT_EQ(document_of(display, "destination_profiles"),
                  row.has_format ? one_profile_with_format : one_profile)
            << std::hex << row.header;
    }
}

TEST(TagTableTest, EachProfileHasItsOwnLists) {
    EXPECT_EQ(document_of({{0x30740019, "\nfull_txt destination profile information\n"},
                           {0x30740020, "transport-method:\n"},
                           {0x30740021, "email addresses configured:\n"},
                           {0x30740022, "a@b.c\n"},
                           {0x3074001C, "mine destination profile information\n"},
                           {0x30740020, "transport-method:http\n"},
                           {0x30740021, "email addresses configured:\n"}},
                          "destination_profiles"),
              R"({"destination_profiles":[{"name":"full_txt","transport_methods":[],)"
              R"("email_addresses":["a@b.c"]},{"name":"mine","transport_methods":["http"],)"
              R"("email_addresses":[]}]})");
}

TEST(TagTableTest, WithoutAProfileTheListIsThere) {
    EXPECT_EQ(document_of({}, "destination_profiles"), R"({"destination_profiles":[]})");
}

TEST(TagTableTest, TheMailTransportIsAnObjectOfSettings) {
    EXPECT_EQ(document_of({{0x30740051, "from email addr:a@b.c\n"},
                           {0x30740052, "reply to email addr:d@e.f\n"},
                           {0x30740053, "return receipt email addr:g@h.i\n"},
                           {0x30740054, "smtp server:mail\n"},
                           {0x30740055, "smtp server port::25\n"}},
                          "mail_transport"),
              R"({"from":"a@b.c","reply_to":"d@e.f","return_receipt":"g@h.i","smtp_server":"mail",)"
              R"("smtp_server_port":25})");
    EXPECT_EQ(document_of({{0x30740055, "smtp server port:\n"}}, "mail_transport"), "{}");
}

TEST(TagTableTest, SignaturesComeWithTheirSettings) {
    EXPECT_EQ(
        document_of({{0x3074005E, "Enabled\n"},
                     {0x3074005F, "ops\n"},
                     {0x30740061, "           ds_site:"},
                     {0x30740062, " Dock:5 \n"},
                     {0x30740061, "           ds_floor:"},
                     {0x30740062, " \n"},
                     {0x30740063, "8001     "},
                     {0x30740064, "link-flapping                   "},
                     {0x30740065, "1.2      "},
                     {0x30740066, "installed  "},
                     {0x30740067, "2026-11-21         \n"},
                     {0x30740063, "8002     "},
                     {0x30740064, "                                "}},
                    "signature_settings"),
        R"({"environment_variables":[{"name":"ds_site","value":"Dock:5"},{"name":"ds_floor","value":""}],)"
        R"("signatures":[{"id":"8001","name":"link-flapping","revision":"1.2","state":"installed",)"
        R"("last_update":"2026-11-21"},{"id":"8002","name":""}],"enabled":true,"profile":"ops"})");
    EXPECT_EQ(document_of({{0x3074005E, "\n"}, {0x30740060, "           Not yet set up\n"}},
                          "signature_settings"),
              "{\"environment_variables\":[],\"signatures\":[]}\n");
}

TEST(TagTableTest, ATextOfSignaturesIsOneValue) {
    EXPECT_EQ(document_of({{0x30740068, "<ds>\n</ds>\n"}}, "signature_text"),
              R"({"content":"<ds>\n</ds>"})");
}

TEST(TagTableTest, StatisticsOfSignaturesAreLists) {
    EXPECT_EQ(document_of({{0x30740069, "8001      "},
                           {0x3074006A, "link-flapping                    "},
                           {0x3074006B, "5/yes          "},
                           {0x3074006C, "0.25         "},
                           {0x3074006D, "1.50     \n"}},
                          "signature_run_times"),
              R"({"signatures":[{"id":"8001","name":"link-flapping","runs_limit_removal":"5/yes",)"
              R"("average_run_seconds":"0.25","longest_run_seconds":"1.50"}]})");
    EXPECT_EQ(document_of({{0x3074006E, "single              "},
                           {0x3074006F, "2          "},
                           {0x30740070, "3        "},
                           {0x30740071, "40       "},
                           {0x30740072, "2026-11-21\n"}},
                          "signature_downloads"),
              R"({"download_types":[{"name":"single","in_queue":2,"failed":3,"succeeded":40,)"
              R"("last_request":"2026-11-21"}]})");
    EXPECT_EQ(document_of({{0x30740073, "8001     "},
                           {0x30740074, "link-flapping    "},
                           {0x30740075, "D     "},
                           {0x30740076, "2026-11-21          "},
                           {0x30740077, "refused\n"},
                           {0x30740073, "         "},
                           {0x30740077, "twice\n"}},
                          "signature_failures"),
              R"({"failures":[{"id":"8001","name":"link-flapping","stage":"D","last_failed":"2026-11-21",)"
              R"("reason":"refused"},{"id":"","reason":"twice"}]})");
}

// What is shown is not always what is meant: a field then stays away, and the line is kept whole.
TEST(TagTableTest, ALineThatIsNotWhatItsTagSaysHasNoPlace) {
    for (const Shown& odd : std::initializer_list<Shown>{
             {0x30740001, "callhome half-enabled\n"},
             {0x30740001, "enabled\n"},
             {0x30740012, "urgent\n"},
             {0x30740015, "periodic inventory time-period : many days\n"},
             {0x30740015, "periodic inventory time-period : 7 days and more\n"},
             {0x30740016, "periodic inventory timeofday : 08:00\n"},
             {0x30740018, "something else and hostname\n"},
             {0x3074001E, "maximum message size:4000\n"},
             {0x3074001D, "maximum message size:99999999999999999999\n"},
             {0x30740055, "smtp server port:callhome enabled\n"},
             {0x30740055, "smtp server port::\n"},
             {0x3074005E, "half-enabled\n"},
             {0x30740061, "           ds_site\n"},
             {0x30740061, "ds_site:\n"},
             {0x3074006F, "many       "},
             {0x30740070, "         "},
             {0x30740045, "a tag that nobody uses\n"},
             {0x3FFFFFFF, "a tag that nobody uses\n"},
         }) {
        EXPECT_EQ(document_of({odd}, "summary"), "{}" + std::string(odd.text));
    }
}

TEST(TagTableTest, AValueMayBeEmptyOrLookLikeALine) {
    EXPECT_EQ(document_of({{0x30740051, "from email addr:\n"},
                           {0x30740004, "contact person's email:\n"},
                           {0x3074000A, "\"x\"\\\n\n"}},
                          "mail_transport"),
              R"({"from":"","contact":{"person":"contactperson'semail:","street_address":"\"x\"\\\n"}})");
}

TEST(TagTableTest, DocumentsOfLinesHaveNothingElse) {
    ASSERT_EQ(library_document("text").size(), 1U);
    EXPECT_EQ(library_document("text").front().place, text_lines);
    ASSERT_EQ(library_document("configuration").size(), 1U);
    EXPECT_EQ(library_document("configuration").front().place, configuration_lines);
    EXPECT_TRUE(library_document("nonsense").empty());
}

}  // namespace
}  // namespace callhome::platform
