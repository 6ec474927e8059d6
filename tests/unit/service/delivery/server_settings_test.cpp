#include "delivery/server_settings.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "temporary_folder.h"

namespace callhome::service {
namespace {

class ServerSettingsTest : public testing::Test {
 protected:
    void lay_down(const std::string& name, const std::string& text, mode_t mode = 0600) {
        const std::filesystem::path file = folder_.path() / name;
        std::ofstream(file) << text;
        ASSERT_EQ(::chmod(file.c_str(), mode), 0);
    }
    MailServerSettings mail(const std::string& host = "mx") const {
        return std::get<MailServerSettings>(mail_server_settings(folder_.path(), host));
    }
    std::string why(const std::string& host = "mx") const {
        const auto settings = mail_server_settings(folder_.path(), host);
        const auto* unusable = std::get_if<UnusableSettings>(&settings);
        return unusable == nullptr ? "" : unusable->why;
    }
    std::string refusal_of(const std::string& text) {
        lay_down("mx.mail", text);
        return why();
    }

    TemporaryFolder folder_;
};

TEST_F(ServerSettingsTest, AreTheDefaultsWhereThereIsNoFileOrFolder) {
    EXPECT_EQ(mail().encryption, Encryption::as_known);
    EXPECT_EQ(mail().login.user, "");
    EXPECT_EQ(std::get<MailServerSettings>(mail_server_settings("", "mx")).encryption,
              Encryption::as_known);
    EXPECT_EQ(std::get<MailServerSettings>(mail_server_settings("/nowhere/at/all", "mx")).login.user, "");
    EXPECT_EQ(std::get<ProxySettings>(proxy_settings(folder_.path(), "proxy")).login.user, "");
}

TEST_F(ServerSettingsTest, DifferFromServerToServer) {
    lay_down("mx.mail",
             "# the relay of the site\n\nencryption required\nauthorities /etc/ca.pem\n"
             "certificate-name mail.example.net\nuser switch 17\nsecret two words  and #more\n");
    lay_down("2001:db8::1.mail", "encryption on-connect");
    EXPECT_EQ(mail().encryption, Encryption::required);
    EXPECT_EQ(mail().authorities, "/etc/ca.pem");
    EXPECT_EQ(mail().certificate_name, "mail.example.net");
    EXPECT_EQ(mail().login.user, "switch 17");
    EXPECT_EQ(mail().login.secret, "two words  and #more");
    EXPECT_EQ(mail("2001:db8::1").encryption, Encryption::on_connect);
    EXPECT_EQ(mail("2001:db8::1").login.user, "");
}

TEST_F(ServerSettingsTest, OfAProxyStandApartFromThoseOfAMailServer) {
    lay_down("host.mail", "user mailer\nsecret a");
    lay_down("host.proxy", "user surfer\nsecret b");
    EXPECT_EQ(mail("host").login.user, "mailer");
    EXPECT_EQ(std::get<ProxySettings>(proxy_settings(folder_.path(), "host")).login.user, "surfer");
    lay_down("other.proxy", "encryption required\n");
    EXPECT_TRUE(std::holds_alternative<UnusableSettings>(proxy_settings(folder_.path(), "other")));
}

TEST_F(ServerSettingsTest, DoNotCountWhereOthersHaveRightsToTheFile) {
    for (const mode_t mode : {0640U, 0604U, 0620U, 0602U, 0666U, 0610U}) {
        lay_down("mx.mail", "user ada\nsecret enigma", mode);
        EXPECT_EQ(why(),
                  "the settings of this mail server do not count: " + (folder_ / "mx.mail").string() +
                      ": others than its owner have rights to it; make its mode 0600");
    }
    lay_down("mx.mail", "user ada\nsecret enigma", 0400);
    EXPECT_EQ(why(), "");
}

TEST_F(ServerSettingsTest, DoNotCountBehindALinkOrWhereThereIsNoFile) {
    lay_down("real", "user ada\nsecret enigma");
    std::filesystem::create_symlink(folder_ / "real", folder_ / "mx.mail");
    EXPECT_NE(why().find("is a link"), std::string::npos) << why();
    std::filesystem::remove(folder_ / "mx.mail");
    std::filesystem::create_hard_link(folder_ / "real", folder_ / "mx.mail");
    EXPECT_NE(why().find("it has more than one name"), std::string::npos) << why();
    std::filesystem::remove(folder_ / "mx.mail");
    ASSERT_EQ(::mkfifo((folder_ / "mx.mail").c_str(), 0600), 0);
    EXPECT_NE(why().find("is not a file"), std::string::npos) << why();
    std::filesystem::remove(folder_ / "mx.mail");
    std::filesystem::create_directory(folder_ / "mx.mail");
    EXPECT_NE(why().find("is not a file"), std::string::npos) << why();
}

TEST_F(ServerSettingsTest, DoNotCountWhereALineIsWrongAndDoNotRepeatIt) {
    struct Row {
        const char* text;
        const char* reason;
    };
    for (const Row& row :
         {Row{"user ada\nsecert enigma", "line 2: this is not a setting"},
          Row{"user ada\nsecret enigma\nsecret again", "line 3: 'secret' stands here for the"},
          Row{"encryption perhaps", "line 1: 'encryption' cannot have this value"},
          Row{"user ", "line 1: 'user' cannot have this value"},
          Row{"user", "line 1: 'user' cannot have this value"},
          Row{"user a\tb", "line 1: 'user' cannot have this value"},
          Row{"user ada\r\nsecret enigma", "line 1: 'user' cannot have this value"},
          Row{"user ada", "there is a user without a secret"},
          Row{"secret enigma", "there is a secret without a user"},
          Row{"user ada\nsecret enigma\nencryption off", "a login is not sent in the clear"}}) {
        const std::string told = refusal_of(row.text);
        EXPECT_NE(told.find(row.reason), std::string::npos) << row.text << " -> " << told;
        EXPECT_EQ(told.find("enigma"), std::string::npos) << told;
    }
    EXPECT_NE(refusal_of("user " + std::string(513, 'x')), "");
    EXPECT_NE(refusal_of(std::string(5000, '#')).find("is longer than 4096 bytes"), std::string::npos);
}

TEST_F(ServerSettingsTest, OfAProxyHaveNoColonInTheUser) {
    lay_down("p.proxy", "user a:b\nsecret c");
    EXPECT_TRUE(std::holds_alternative<UnusableSettings>(proxy_settings(folder_.path(), "p")));
}

}  // namespace
}  // namespace callhome::service
