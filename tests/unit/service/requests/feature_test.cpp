#include "requests_fixture.h"

namespace callhome::service {
namespace {

using protocol::SwitchRecord;

class FeatureTest : public RequestsTest {
 protected:
    Answer<SwitchRecord> feature(Operation operation, std::uint32_t enabled = 0) {
        return ask(Opcode::feature_state, operation, SwitchRecord{.enabled = enabled, .trailing_flag = 0});
    }
    Answer<SwitchRecord> traps(Operation operation, std::uint32_t enabled = 0) {
        return ask(Opcode::traps, operation, SwitchRecord{.enabled = enabled, .trailing_flag = 0});
    }
};

TEST_F(FeatureTest, EnablingSaysStepByStepWhatIsMissing) {
    EXPECT_EQ(feature(Operation::set, 1).status, Status::no_system_contact);
    store.set_contact("sysContact", "Ada");
    EXPECT_EQ(feature(Operation::set, 1).status, Status::no_contact_email);
    store.set_contact("sysContactEmail", "ada@example.net");
    EXPECT_EQ(feature(Operation::set, 1).status, Status::no_destination);
    store.effective().add_address(AddressKind::email, "short_txt", "ops@example.net");
    EXPECT_EQ(feature(Operation::set, 1).status, Status::no_mail_server);
    EXPECT_EQ(+feature(Operation::get).record->enabled, 0U);
    store.effective().put_mail_server({.host = "mx.example.net", .vrf_name = {}});
    EXPECT_EQ(feature(Operation::set, 1).status, Status::ok);
    EXPECT_EQ(+feature(Operation::get).record->enabled, 1U);
}

class EnabledMailTest : public FeatureTest {
 protected:
    EnabledMailTest() {
        store.set_contact("sysContact", "Ada");
        store.set_contact("sysContactEmail", "ada@example.net");
    }
};

TEST_F(EnabledMailTest, TheSmtpServerOfTheMailSettingsWillDo) {
    store.effective().add_address(AddressKind::email, "full_txt", "ops@example.net");
    store.effective().put_mail_settings(
        {.from = {}, .reply_to = {}, .return_receipt = {}, .smtp_server = "mx", .vrf_name = {}});
    EXPECT_EQ(feature(Operation::set, 1).status, Status::ok);
}

TEST_F(EnabledMailTest, AUrlAloneNeedsNoMailServer) {
    store.effective().add_address(AddressKind::url, "full_txt", "https://h.example");
    EXPECT_EQ(feature(Operation::set, 1).status, Status::ok);
}

TEST_F(EnabledMailTest, AnAddressOfAProfileWithoutEmailTransportNeedsNoMailServer) {
    Profile profile = *store.effective().find_profile("full_txt");
    profile.transport_methods = protocol::transport_http;
    store.effective().put_profile(profile);
    store.effective().add_address(AddressKind::email, "full_txt", "ops@example.net");
    EXPECT_EQ(feature(Operation::set, 1).status, Status::ok);
}

TEST_F(FeatureTest, DisablingNeedsNothing) {
    EXPECT_EQ(feature(Operation::set, 0).status, Status::ok);
    store.set_enabled(true);
    EXPECT_EQ(feature(Operation::set, 0).status, Status::ok);
    EXPECT_FALSE(configuration().enabled);
}

TEST_F(FeatureTest, OtherNumbersAreNotUnderstood) {
    for (const std::uint32_t number : {2U, 256U, 0xFFFFFFFFU}) {
        EXPECT_EQ(feature(Operation::set, number).status, Status::malformed_request);
        EXPECT_EQ(traps(Operation::set, number).status, Status::malformed_request);
    }
}

TEST_F(FeatureTest, TrapsAreSwitchedOnAndOff) {
    EXPECT_EQ(+traps(Operation::get).record->enabled, 0U);
    EXPECT_EQ(traps(Operation::set, 1).status, Status::ok);
    EXPECT_EQ(+traps(Operation::get).record->enabled, 1U);
    EXPECT_EQ(traps(Operation::set, 0).status, Status::ok);
    EXPECT_EQ(+traps(Operation::get).record->enabled, 0U);
}

}  // namespace
}  // namespace callhome::service
