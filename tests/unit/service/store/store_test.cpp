#include "store/store.h"

#include <gtest/gtest.h>

#include "changes.h"
#include "description.h"
#include "temporary_folder.h"

namespace callhome::service {
namespace {

class StoreTest : public testing::Test {
 protected:
    const Configuration& configuration() const { return store.configuration(); }

    // What a service that starts now would find.
    std::string reopened() const {
        Database other(folder / "callhome.db");
        const Store again(other);
        return description_of(again.configuration());
    }

    TemporaryFolder folder;
    Database database{folder / "callhome.db"};
    Store store{database};
};

TEST_F(StoreTest, StartsWithTheBuiltInProfilesAndDefaults) {
    EXPECT_EQ(description_of(configuration()),
              "enabled false traps false throttle true distribution false privacy false host name false\n"
              "priority = 7\n"
              "profile full_txt (built in) methods 1 format 2 size 2500000 level 0\n"
              " e-mail\n urls\n groups 1:all\n"
              "profile short_txt (built in) methods 1 format 3 size 4000 level 0\n"
              " e-mail\n urls\n groups 1:all\n"
              "profile ZUVA-profile (built in) methods 1 format 1 size 5000000 level 0\n"
              " e-mail\n urls\n groups 1:ZUVA-TAC\n"
              "mail from  reply to  receipt  server  type 0 port 0 vrf  id 1\n"
              "proxy  type 0 port 8080 enabled false http vrf \n"
              "inventory false every 7 days at 480\n");
}

TEST_F(StoreTest, EachChangeShowsInMemoryAndIsThereAfterARestart) {
    for (const NamedChange& change : changes) {
        const std::string before = description_of(configuration());
        change.make(store);
        EXPECT_NE(description_of(configuration()), before) << change.name;
        EXPECT_EQ(reopened(), description_of(configuration())) << change.name;
    }
}

TEST_F(StoreTest, TheConfigurationStaysWhereItIs) {
    const Configuration* address = &configuration();
    for (const NamedChange& change : changes) {
        change.make(store);
    }
    EXPECT_EQ(&store.configuration(), address);
}

TEST_F(StoreTest, AnIndexIsNotReusedWhileTheProfileLives) {
    store.effective().put_profile(user_profile("ops"));
    store.effective().add_address(AddressKind::email, "ops", "a@example.net");
    store.effective().remove_address(AddressKind::email, "ops", "a@example.net");
    store.effective().add_address(AddressKind::email, "ops", "b@example.net");
    EXPECT_EQ(store.effective().find_profile("ops")->email_addresses.front().index, 2U);
    store.effective().remove_address(AddressKind::email, "ops", "b@example.net");
    Store again(database);
    again.effective().add_address(AddressKind::email, "ops", "c@example.net");
    EXPECT_EQ(again.effective().find_profile("ops")->email_addresses.front().index, 3U)
        << "also after a restart";
}

TEST_F(StoreTest, EachListOfAProfileCountsForItself) {
    store.effective().add_address(AddressKind::email, "full_txt", "a@example.net");
    store.effective().add_address(AddressKind::url, "full_txt", "http://h.example");
    EXPECT_EQ(store.effective().find_profile("full_txt")->email_addresses.front().index, 1U);
    EXPECT_EQ(store.effective().find_profile("full_txt")->urls.front().index, 1U);
}

TEST_F(StoreTest, AProfileThatIsMadeAnewStartsFromNothing) {
    store.effective().put_profile(user_profile("ops"));
    store.effective().add_address(AddressKind::email, "ops", "a@example.net");
    store.effective().remove_profile("ops");
    store.effective().put_profile(user_profile("ops"));
    EXPECT_TRUE(store.effective().find_profile("ops")->email_addresses.empty());
    store.effective().add_address(AddressKind::email, "ops", "b@example.net");
    EXPECT_EQ(store.effective().find_profile("ops")->email_addresses.front().index, 1U);
    EXPECT_EQ(reopened(), description_of(configuration()));
}

TEST_F(StoreTest, AChangedProfileKeepsItsLists) {
    store.effective().add_address(AddressKind::email, "full_txt", "a@example.net");
    Profile changed = *store.effective().find_profile("full_txt");
    changed.email_addresses.clear();
    changed.message_size = 10;
    store.effective().put_profile(changed);
    EXPECT_EQ(store.effective().find_profile("full_txt")->message_size, 10U);
    EXPECT_EQ(store.effective().find_profile("full_txt")->email_addresses.size(), 1U);
    EXPECT_TRUE(store.effective().find_profile("full_txt")->built_in);
    EXPECT_EQ(reopened(), description_of(configuration()));
}

TEST_F(StoreTest, UserProfilesFollowTheBuiltInOnesByName) {
    for (const char* name : {"b", "ZUVA", "a", "full_txu", "0"}) {
        store.effective().put_profile(user_profile(name));
    }
    std::vector<std::string> names;
    for (const Profile& profile : configuration().profiles) {
        names.push_back(profile.name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"full_txt", "short_txt", "ZUVA-profile", "0", "ZUVA", "a",
                                               "b", "full_txu"}));
}

TEST_F(StoreTest, AUserCommandSIndexIsNotReused) {
    store.effective().add_user_command("test", "show clock");
    store.effective().remove_user_command("test", "show clock");
    store.effective().add_user_command("test", "show clock");
    EXPECT_EQ(configuration().user_commands.front().index, 2U);
    store.effective().remove_user_command("test", "show clock");
    Store again(database);
    again.effective().add_user_command("test", "show clock");
    EXPECT_EQ(again.configuration().user_commands.front().index, 3U) << "also after a restart";
}

TEST_F(StoreTest, ACopyThatReplacesAnotherIsWhatThatOneWas) {
    for (const NamedChange& change : changes) {
        change.make(store);
    }
    Transaction transaction(store.transactions());
    store.pending().replace_tables(store.effective());
    transaction.commit();
    store.pending().replace_memory(store.effective());
    const std::string effective = description_of(store.effective().configuration());
    EXPECT_EQ(description_of(store.pending().configuration()), effective);
    store.pending().remove_profile("lab");
    store.pending().add_address(AddressKind::email, "full_txt", "pending@example.net");
    EXPECT_EQ(description_of(store.effective().configuration()), effective) << "each is changed by itself";
    Database other(folder / "callhome.db");
    EXPECT_EQ(description_of(Store(other).pending().configuration()),
              description_of(store.pending().configuration()));
}

TEST_F(StoreTest, ATransactionThatIsNotCommittedLeavesNothing) {
    const std::string before = reopened();
    {
        const Transaction transaction(store.transactions());
        store.pending().replace_tables(store.effective());
        store.pending().replace_memory(store.effective());
        store.pending().add_address(AddressKind::email, "full_txt", "a@example.net");
        store.pending().empty_memory();
    }
    EXPECT_FALSE(store.transactions().is_open());
    EXPECT_EQ(reopened(), before);
    Database other(folder / "callhome.db");
    EXPECT_TRUE(Store(other).pending().configuration().profiles.empty());
}

TEST_F(StoreTest, ADatabaseOfANewerVersionIsLeftAlone) {
    database.connection().exec("PRAGMA user_version = 99");
    EXPECT_THROW(Database(folder / "callhome.db"), std::runtime_error);
}

TEST_F(StoreTest, NobodyElseCanReadTheDatabase) {
    store.set_enabled(true);
    for (const char* name : {"callhome.db", "callhome.db-wal", "callhome.db-shm"}) {
        const auto permissions = std::filesystem::status(folder / name).permissions();
        EXPECT_EQ(permissions, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write)
            << name;
    }
}

}  // namespace
}  // namespace callhome::service
