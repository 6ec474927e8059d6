#include "requests_fixture.h"

namespace callhome::service {
namespace {

using protocol::ContactRecord;

class ContactTest : public RequestsTest {
 protected:
    Answer<ContactRecord> contact(Operation operation, const char* name, std::string_view value = "") {
        ContactRecord record{};
        write_text(record.name, name);
        write_text(record.value, value);
        return ask(Opcode::contact_field, operation, record);
    }
};

constexpr std::array texts{"sysContact", "sysContactPhoneNumber", "sysStreetAddress", "siteId", "custId",
                           "contractId"};

TEST_F(ContactTest, EachItemIsSetReadAndRemoved) {
    for (const char* name : texts) {
        EXPECT_EQ(contact(Operation::get, name).status, Status::not_found) << name;
        EXPECT_EQ(contact(Operation::remove, name).status, Status::not_found) << name;
        EXPECT_EQ(contact(Operation::set, name, "Harbour Road 5, 2nd floor").status, Status::ok) << name;
        const auto answer = contact(Operation::get, name);
        EXPECT_EQ(answer.status, Status::ok) << name;
        EXPECT_STREQ(answer.record->name, name);
        EXPECT_STREQ(answer.record->value, "Harbour Road 5, 2nd floor");
        EXPECT_EQ(contact(Operation::remove, name).status, Status::ok) << name;
        EXPECT_EQ(contact(Operation::get, name).status, Status::not_found) << name;
    }
}

TEST_F(ContactTest, AMissingItemHasNoRecord) {
    EXPECT_FALSE(contact(Operation::get, "siteId").record);
}

TEST_F(ContactTest, TheLongestValueIsKeptWhole) {
    const std::string longest(sizeof(ContactRecord::value) - 1, 'x');
    EXPECT_EQ(contact(Operation::set, "siteId", longest).status, Status::ok);
    EXPECT_EQ(contact(Operation::get, "siteId").record->value, longest);
}

TEST_F(ContactTest, UnknownItemsAreNotUnderstood) {
    for (const Operation operation : {Operation::get, Operation::set, Operation::remove}) {
        EXPECT_EQ(contact(operation, "sysName", "x").status, Status::malformed_request);
        EXPECT_EQ(contact(operation, "", "x").status, Status::malformed_request);
    }
}

TEST_F(ContactTest, ValuesThatCannotBeTypedAgainAreRefused) {
    for (const char* value : {"", "a\nb", "a\x1b[2J", "\xff\xfe"}) {
        EXPECT_EQ(contact(Operation::set, "siteId", value).status, Status::malformed_request) << value;
    }
    EXPECT_FALSE(configuration().contact.contains("siteId"));
}

TEST_F(ContactTest, TheEmailContactMustLookLikeAnAddress) {
    EXPECT_EQ(contact(Operation::set, "sysContactEmail", "nobody").status, Status::malformed_request);
    EXPECT_EQ(contact(Operation::set, "sysContactEmail", "ada@example.net").status, Status::ok);
    EXPECT_STREQ(contact(Operation::get, "sysContactEmail").record->value, "ada@example.net");
}

TEST_F(ContactTest, ThePriorityIsADigitUpToSevenAndSevenByDefault) {
    EXPECT_STREQ(contact(Operation::get, "priority").record->value, "7");
    EXPECT_EQ(contact(Operation::remove, "priority").status, Status::not_found);
    for (const char* value : {"", "8", "-1", "10", "high", " 1", "1 "}) {
        EXPECT_EQ(contact(Operation::set, "priority", value).status, Status::malformed_request) << value;
    }
    EXPECT_EQ(contact(Operation::set, "priority", "0").status, Status::ok);
    EXPECT_STREQ(contact(Operation::get, "priority").record->value, "0");
    EXPECT_EQ(contact(Operation::remove, "priority").status, Status::ok);
    EXPECT_STREQ(contact(Operation::get, "priority").record->value, "7");
}

TEST_F(ContactTest, NothingIsRemovedWhileTheFeatureIsEnabled) {
    contact(Operation::set, "sysContact", "Ada");
    contact(Operation::set, "sysContactEmail", "ada@example.net");
    contact(Operation::set, "siteId", "harbour");
    store.set_enabled(true);
    for (const char* name : {"sysContact", "sysContactEmail", "siteId"}) {
        EXPECT_EQ(contact(Operation::remove, name).status, Status::configuration_missing) << name;
        EXPECT_EQ(contact(Operation::get, name).status, Status::ok) << name;
    }
    store.set_enabled(false);
    for (const char* name : {"sysContact", "sysContactEmail", "siteId"}) {
        EXPECT_EQ(contact(Operation::remove, name).status, Status::ok) << name;
    }
}

}  // namespace
}  // namespace callhome::service
