// What the masks do to whole messages, in each of the formats.
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>

#include "corpus.h"
#include "messages/message_composer.h"
#include "samples.h"

namespace callhome::service {
namespace {

using tests::Form;

constexpr std::size_t large = 5'000'000;
const MessageStamp stamp{"1700000000.0123456789abcdef@switch1", 1'700'000'000};

Configuration configuration_with(const Privacy& privacy) {
    Configuration configuration = tests::sample_configuration();
    configuration.privacy = privacy;
    configuration.profiles.clear();
    for (const auto format : {protocol::MessageFormat::xml, protocol::MessageFormat::full_text,
                              protocol::MessageFormat::short_text}) {
        configuration.profiles.push_back(tests::profile_of("ops", format, {"ops@example.com"}));
        configuration.profiles.back().message_size = large;
    }
    return configuration;
}

SystemInventory inventory() {
    SystemInventory result = tests::sample_inventory();
    result.serial_number = "SN-48151623";
    return result;
}

std::vector<NewMessage> compose(const MessageSubject& subject, const Configuration& configuration,
                                Transport transport) {
    std::vector<Taker> takers;
    for (const Profile& profile : configuration.profiles) {
        takers.push_back({&profile, transport, {"https://example.com/"}});
    }
    return compose_messages(subject, stamp, takers, configuration, inventory());
}

bool holds(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// A signature's message has every kind of text: subject, fields, sections, the output of commands.
std::vector<NewMessage> compose_with(const std::string& text, const Privacy& privacy,
                                     Transport transport = Transport::http) {
    // What is one line in a message is one in the journal, too.
    const std::string line = holds(text, "\n") ? "" : text;
    const SignatureReport report{
        17, "name", "1", line, "Subject: " + line, text, "all", "", {{"show " + line, text, line}}};
    const MessageType& type = *find_message_type(signature_message, Origin::signature);
    return compose({&type, {}, {}, "ada", &report}, configuration_with(privacy), transport);
}

void expect_nowhere(const std::vector<NewMessage>& messages, const std::string& secret,
                    const std::string& where) {
    ASSERT_EQ(messages.size(), 3U);
    for (const NewMessage& message : messages) {
        EXPECT_FALSE(holds(message.content, secret)) << where << "\nin\n" << message.content;
        EXPECT_FALSE(holds(message.subject, secret)) << where << "\nin " << message.subject;
    }
}

const std::string alphabet = "abcdefghijkmnpqrstuvwxyzABCDEFGHJKLMNPQRSTUVWXYZ23456789";

// At least one digit and one letter: a secret that is a word of the language cannot be told from it.
rc::Gen<std::string> random_secret() {
    constexpr std::size_t shortest = 8;
    return rc::gen::map(rc::gen::resize(20, rc::gen::container<std::string>(rc::gen::elementOf(alphabet))),
                        [](std::string secret) {
                            for (std::size_t i = 0; secret.size() < shortest; ++i) {
                                secret += alphabet[(7 * i + secret.size()) % alphabet.size()];
                            }
                            return secret.substr(0, 4) + "7k" + secret.substr(4) + "Z";
                        });
}

TEST(MessagePrivacy, NoSecretStandsInAnyFormat) {
    for (const Form& form : tests::read_forms("secrets.txt")) {
        const auto messages = compose_with(form.text(), {});
        for (const tests::MarkedSecret& secret : form.secrets) {
            // The shortest are found in other places by chance.
            if (secret.text != "public") {
                expect_nowhere(messages, secret.text, form.line);
            }
        }
    }
}

TEST(MessagePrivacy, NoIdentityStandsInAnyFormatAtLevelHigh) {
    for (const Form& form : tests::read_forms("identities.txt")) {
        const auto messages = compose_with(form.text(), {true, false});
        for (const tests::MarkedSecret& secret : form.secrets) {
            expect_nowhere(messages, secret.text, form.line);
        }
    }
}

TEST(MessagePrivacy, ARandomSecretInARandomFormStandsNowhere) {
    const std::vector<Form> forms = tests::read_forms("secrets.txt");
    EXPECT_TRUE(rc::check("no secret leaves", [&] {
        const Form form = *rc::gen::elementOf(forms);
        std::vector<std::string> secrets;
        for (const tests::MarkedSecret& secret : form.secrets) {
            secrets.push_back(secret.is_free ? *random_secret() : secret.text);
        }
        const bool high = *rc::gen::arbitrary<bool>();
        const auto messages = compose_with(form.text_with(secrets), {high, false});
        for (const NewMessage& message : messages) {
            for (const std::string& secret : secrets) {
                RC_ASSERT(secret == "public" || !holds(message.content, secret));
            }
        }
    }));
}

TEST(MessagePrivacy, WhatTellsOfTheSwitchStandsInItAtLevelNormal) {
    const auto messages = compose({find_message_type("inventory", Origin::command), "", "", "ada"},
                                  configuration_with({}), Transport::http);
    for (const char* part :
         {"switch1", "SN-48151623", "02:00:00:00:00:01", "192.0.2.1/24", "2001:db8::1/64"}) {
        EXPECT_TRUE(holds(messages.front().content, part)) << part;
    }
    EXPECT_FALSE(holds(messages.front().content, "masked-"));
}

TEST(MessagePrivacy, NothingTellsOfTheSwitchAtLevelHighWithItsHostName) {
    for (const char* type : {"inventory", "PERIODIC_CONFIGURATION", "TEMO-normal", "SW_CRASH"}) {
        const auto messages = compose({find_message_type(type, Origin::command), "one", "two", "ada"},
                                      configuration_with({true, true}), Transport::http);
        for (const char* part : {"switch1", "SN-48151623", "02:00:00:00:00:01", "192.0.2.1", "2001:db8"}) {
            expect_nowhere(messages, part, type);
        }
    }
}

TEST(MessagePrivacy, TheContactBlockIsThereToBeRead) {
    Configuration configuration = configuration_with({true, true});
    configuration.contact["sysContact"] = "Ada, password 10.1.2.3 of switch1";
    const auto messages =
        compose({find_message_type("test", Origin::command), "", "", ""}, configuration, Transport::http);
    for (const NewMessage& message : messages) {
        EXPECT_TRUE(holds(message.content, "Ada, password 10.1.2.3 of switch1")) << message.content;
        EXPECT_TRUE(holds(message.content, "+1 555 0100")) << message.content;
    }
}

TEST(MessagePrivacy, AMailHasNoHostNameButItsEnvelopeDoes) {
    Configuration configuration = configuration_with({false, true});
    const MessageType& type = *find_message_type("test", Origin::command);
    for (const NewMessage& mail : compose({&type, "", "", ""}, configuration, Transport::email)) {
        EXPECT_FALSE(holds(mail.content, "switch1")) << mail.content;
        EXPECT_TRUE(holds(mail.content, "From: callhome@masked.invalid")) << mail.content;
        EXPECT_EQ(mail.sender, "callhome@switch1");
    }
    configuration.mail.from = "switch1@example.com";
    for (const NewMessage& mail : compose({&type, "", "", ""}, configuration, Transport::email)) {
        EXPECT_TRUE(holds(mail.content, "From: switch1@example.com"))
            << "what is configured is meant to be";
    }
}

TEST(MessagePrivacy, IdentifiersOfTheServiceStayWhateverTheHostIsCalled) {
    SystemInventory called_test = inventory();
    called_test.host_name = "test";
    const Configuration configuration = configuration_with({false, true});
    const Taker taker{&configuration.profiles.front(), Transport::http, {"https://example.com/"}};
    const auto messages = compose_messages({find_message_type("test", Origin::command), "", "", ""}, stamp,
                                           {taker}, configuration, called_test);
    EXPECT_TRUE(holds(messages.front().content, "<type>test</type>")) << messages.front().content;
}

TEST(MessagePrivacy, TheSameSecretHasTheSameMaskInAllPartsAndFormats) {
    const SignatureReport report{17,
                                 "name",
                                 "1",
                                 "password Xk29fLm3pQ",
                                 "S",
                                 "the peer said Xk29fLm3pQ",
                                 "all",
                                 "",
                                 {{"show a", "secret Xk29fLm3pQ\nsecret Yk38fLm3pR\n", ""}}};
    const MessageType& type = *find_message_type(signature_message, Origin::signature);
    const auto messages = compose({&type, {}, {}, "ada", &report}, configuration_with({}), Transport::http);
    for (const char* part :
         {"<line>secret &lt;masked-1&gt;</line>", "<line>secret &lt;masked-2&gt;</line>",
          "<trigger>password &lt;masked-1&gt;</trigger>", "<text>the peer said &lt;masked-1&gt;</text>"}) {
        EXPECT_TRUE(holds(messages[0].content, part)) << part << " in\n" << messages[0].content;
    }
    EXPECT_TRUE(holds(messages[1].content, "\n  secret <masked-2>\n")) << messages[1].content;
    EXPECT_TRUE(holds(messages[2].content, "Trigger: password <masked-1>\n")) << messages[2].content;
}

TEST(MessagePrivacy, EachTakerIsToldItsOwnProfile) {
    Configuration configuration = configuration_with({});
    configuration.profiles[1].name = "others";
    const auto messages =
        compose({find_message_type("test", Origin::command), "", "", ""}, configuration, Transport::http);
    EXPECT_TRUE(holds(messages[0].content, "<profile>ops</profile>"));
    EXPECT_TRUE(holds(messages[1].content, "Profile:              others\n")) << messages[1].content;
    EXPECT_EQ(messages[1].profile, "others");
}

}  // namespace
}  // namespace callhome::service
