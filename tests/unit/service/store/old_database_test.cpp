// A database of the first version opens and keeps everything.
#include <gtest/gtest.h>

#include "description.h"
#include "store/store.h"
#include "temporary_folder.h"

namespace callhome::service {
namespace {

// As that version created it, with what somebody had configured.
constexpr const char* version_1 = R"sql(
CREATE TABLE setting (name TEXT PRIMARY KEY, value INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE contact (name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
CREATE TABLE profile (name TEXT PRIMARY KEY, built_in INTEGER NOT NULL DEFAULT 0,
    transport_methods INTEGER NOT NULL, format INTEGER NOT NULL, message_size INTEGER NOT NULL,
    message_level INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE profile_entry (profile TEXT NOT NULL REFERENCES profile (name) ON DELETE CASCADE,
    list INTEGER NOT NULL, entry INTEGER NOT NULL, text TEXT NOT NULL,
    PRIMARY KEY (profile, list, entry)) WITHOUT ROWID;
CREATE TABLE profile_next_entry (profile TEXT NOT NULL REFERENCES profile (name) ON DELETE CASCADE,
    list INTEGER NOT NULL, entry INTEGER NOT NULL, PRIMARY KEY (profile, list)) WITHOUT ROWID;
CREATE TABLE mail_settings (only_row INTEGER PRIMARY KEY CHECK (only_row = 1), sender TEXT NOT NULL,
    reply_to TEXT NOT NULL, return_receipt TEXT NOT NULL, smtp_server TEXT NOT NULL,
    address_type INTEGER NOT NULL, port INTEGER NOT NULL, vrf_name TEXT NOT NULL, vrf_id INTEGER NOT NULL);
CREATE TABLE mail_server (host TEXT PRIMARY KEY, address_type INTEGER NOT NULL, port INTEGER NOT NULL,
    priority INTEGER NOT NULL, vrf_name TEXT NOT NULL, vrf_id INTEGER NOT NULL) WITHOUT ROWID;
INSERT INTO setting VALUES ('enabled', 1), ('traps enabled', 1);
INSERT INTO contact VALUES ('sysContact', 'Ada'), ('priority', '3');
INSERT INTO profile VALUES ('full_txt', 1, 1, 2, 2500000, 0), ('short_txt', 1, 1, 3, 4000, 0),
    ('ZUVA-profile', 1, 1, 1, 5000000, 0), ('ops', 0, 3, 1, 1000, 2);
INSERT INTO profile_entry VALUES ('short_txt', 3, 1, 'all'), ('ZUVA-profile', 3, 1, 'ZUVA-TAC'),
    ('ops', 1, 2, 'ops@example.net'), ('ops', 2, 1, 'https://h.example');
INSERT INTO profile_next_entry VALUES ('full_txt', 3, 2), ('short_txt', 3, 2), ('ZUVA-profile', 3, 2),
    ('ops', 1, 5), ('ops', 2, 2);
INSERT INTO mail_settings VALUES (1, 'from@example.net', '', '', 'mx.example.net', 16, 2525, 'red', 7);
INSERT INTO mail_server VALUES ('192.0.2.1', 1, 25, 50, '', 0);
PRAGMA user_version = 1;
)sql";

class OldDatabase : public testing::Test {
 protected:
    OldDatabase() { SQLite::Database(file, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE).exec(version_1); }

    TemporaryFolder folder;
    const std::string file = folder / "callhome.db";
};

TEST_F(OldDatabase, KeepsEverythingAndHasTheDefaultsOfWhatItDidNotKnow) {
    Database database(file);
    EXPECT_EQ(
        description_of(Store(database).configuration()),
        "enabled true traps true throttle true distribution false privacy false host name false\n"
        "priority = 3\n"
        "sysContact = Ada\n"
        "profile full_txt (built in) methods 1 format 2 size 2500000 level 0\n"
        " e-mail\n urls\n groups\n"
        "profile short_txt (built in) methods 1 format 3 size 4000 level 0\n"
        " e-mail\n urls\n groups 1:all\n"
        "profile ZUVA-profile (built in) methods 1 format 1 size 5000000 level 0\n"
        " e-mail\n urls\n groups 1:ZUVA-TAC\n"
        "profile ops methods 3 format 1 size 1000 level 2\n"
        " e-mail 2:ops@example.net\n urls 1:https://h.example\n groups\n"
        "mail from from@example.net reply to  receipt  server mx.example.net type 16 port 2525 vrf red "
        "id 7\n"
        "server 192.0.2.1 type 1 port 25 priority 50 vrf  id 0\n"
        "proxy  type 0 port 8080 enabled false http vrf \n"
        "inventory false every 7 days at 480\n");
}

TEST_F(OldDatabase, GoesOnCountingWhereItWas) {
    Database database(file);
    Store store(database);
    store.effective().add_address(AddressKind::email, "ops", "second@example.net");
    EXPECT_EQ(store.effective().find_profile("ops")->email_addresses.back().index, 5U);
}

TEST_F(OldDatabase, IsOfTheNewVersionAfterwards) {
    Database database(file);
    EXPECT_EQ(database.connection().execAndGet("PRAGMA user_version").getInt(), 3);
}

}  // namespace
}  // namespace callhome::service
