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
              "enabled false traps false\n"
              "priority = 7\n"
              "profile full_txt (built in) methods 1 format 2 size 2500000 level 0\n"
              " e-mail\n urls\n groups 1:all\n"
              "profile short_txt (built in) methods 1 format 3 size 4000 level 0\n"
              " e-mail\n urls\n groups 1:all\n"
              "profile ZUVA-profile (built in) methods 1 format 1 size 5000000 level 0\n"
              " e-mail\n urls\n groups 1:ZUVA-TAC\n"
              "mail from  reply to  receipt  server  type 0 port 0 vrf  id 1\n");
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
    store.put_profile(user_profile("ops"));
    store.add_address(AddressKind::email, "ops", "a@example.net");
    store.remove_address(AddressKind::email, "ops", "a@example.net");
    store.add_address(AddressKind::email, "ops", "b@example.net");
    EXPECT_EQ(store.find_profile("ops")->email_addresses.front().index, 2U);
    store.remove_address(AddressKind::email, "ops", "b@example.net");
    Store again(database);
    again.add_address(AddressKind::email, "ops", "c@example.net");
    EXPECT_EQ(again.find_profile("ops")->email_addresses.front().index, 3U) << "also after a restart";
}

TEST_F(StoreTest, EachListOfAProfileCountsForItself) {
    store.add_address(AddressKind::email, "full_txt", "a@example.net");
    store.add_address(AddressKind::url, "full_txt", "http://h.example");
    EXPECT_EQ(store.find_profile("full_txt")->email_addresses.front().index, 1U);
    EXPECT_EQ(store.find_profile("full_txt")->urls.front().index, 1U);
}

TEST_F(StoreTest, AProfileThatIsMadeAnewStartsFromNothing) {
    store.put_profile(user_profile("ops"));
    store.add_address(AddressKind::email, "ops", "a@example.net");
    store.remove_profile("ops");
    store.put_profile(user_profile("ops"));
    EXPECT_TRUE(store.find_profile("ops")->email_addresses.empty());
    store.add_address(AddressKind::email, "ops", "b@example.net");
    EXPECT_EQ(store.find_profile("ops")->email_addresses.front().index, 1U);
    EXPECT_EQ(reopened(), description_of(configuration()));
}

TEST_F(StoreTest, AChangedProfileKeepsItsLists) {
    store.add_address(AddressKind::email, "full_txt", "a@example.net");
    Profile changed = *store.find_profile("full_txt");
    changed.email_addresses.clear();
    changed.message_size = 10;
    store.put_profile(changed);
    EXPECT_EQ(store.find_profile("full_txt")->message_size, 10U);
    EXPECT_EQ(store.find_profile("full_txt")->email_addresses.size(), 1U);
    EXPECT_TRUE(store.find_profile("full_txt")->built_in);
    EXPECT_EQ(reopened(), description_of(configuration()));
}

TEST_F(StoreTest, UserProfilesFollowTheBuiltInOnesByName) {
    for (const char* name : {"b", "ZUVA", "a", "full_txu", "0"}) {
        store.put_profile(user_profile(name));
    }
    std::vector<std::string> names;
    for (const Profile& profile : configuration().profiles) {
        names.push_back(profile.name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"full_txt", "short_txt", "ZUVA-profile", "0", "ZUVA", "a",
                                               "b", "full_txu"}));
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
