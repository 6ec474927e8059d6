#include "distribution/session.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <array>

#include "description.h"
#include "login_child.h"
#include "temporary_folder.h"

namespace callhome::protocol {

inline void PrintTo(Status status, std::ostream* out) {
    const char* text = text_of(status);
    *out << (text == nullptr ? "unknown status" : text);
}

}  // namespace callhome::protocol

namespace callhome::service {
namespace {

using protocol::ActionResult;
using protocol::SessionAction;
using protocol::Status;

// Decides when the test says so.
class PatientEngine final : public CommitEngine {
 public:
    void start(const SharedConfiguration& pending, Decide decide) override {
        seen = description_of(pending);
        waiting = std::move(decide);
    }
    Status decide(Status verdict) { return std::exchange(waiting, nullptr)(verdict); }

    std::string seen;
    Decide waiting;
};

struct Person final : Requester {
    Person(std::string person_name, uid_t user, LoginSession session)
        : name(std::move(person_name)), who{.user = user, .session = session} {}
    Identity identity() const override { return who; }
    std::string login_name() const override { return name; }

    std::string name;
    Identity who;
};

// One start of the service.
struct Service {
    explicit Service(const std::filesystem::path& file, DistributionSession::Clock clock)
        : database(file), store(database), session(database, store, engine, std::move(clock)) {}

    std::string effective() const { return description_of(store.effective().configuration()); }
    std::string pending() const { return description_of(store.pending().configuration()); }

    Database database;
    Store store;
    PatientEngine engine;
    DistributionSession session;
};

class SessionTest : public testing::Test {
 protected:
    SessionTest() {
        start();
        service->store.set_distribution(true);
    }
    void start() {
        service.reset();
        service.emplace(folder / "callhome.db", [this] { return now; });
    }

    Status add(const Person& person, const std::string& address) {
        return service->session.change(person, [&](ConfigurationCopy& copy) {
            copy.add_address(AddressKind::email, "full_txt", address);
            return Status::ok;
        });
    }
    std::vector<std::string> addresses(const ConfigurationCopy& copy) const {
        std::vector<std::string> found;
        for (const ProfileAddress& entry : copy.find_profile("full_txt")->email_addresses) {
            found.push_back(entry.address);
        }
        return found;
    }
    std::vector<std::string> effective() const { return addresses(service->store.effective()); }
    std::vector<std::string> pending() const { return addresses(service->store.pending()); }
    DistributionSession& session() { return service->session; }
    Status commit(const Person& person) {
        const Status begun = session().commit(person);
        return begun == Status::ok ? service->engine.decide(Status::ok) : begun;
    }
    const LastAction& last() { return session().last_action(); }
    void fail_commits(bool fail) {
        sqlite3_commit_hook(service->database.connection().getHandle(),
                            fail ? [](void*) { return 1; } : static_cast<int (*)(void*)>(nullptr), nullptr);
    }

    using Strings = std::vector<std::string>;
    TemporaryFolder folder;
    std::int64_t now = 1'700'000'000;
    std::optional<Service> service;
    LoginChild first_login, second_login;
    const Person ada{"ada", 1000, first_login.session()};
    const Person ada_elsewhere{"ada", 1000, second_login.session()};
    const Person bob{"bob", 1001, second_login.session()};
};

TEST_F(SessionTest, WhileDistributionIsOffAChangeTakesEffectAtOnce) {
    service->store.set_distribution(false);
    EXPECT_EQ(add(ada, "a@example.net"), Status::ok);
    EXPECT_EQ(effective(), Strings{"a@example.net"});
    EXPECT_FALSE(session().open());
    EXPECT_EQ(session().why_no_pending_copy(), Status::distribution_off);
    EXPECT_EQ(session().commit(ada), Status::distribution_off);
    EXPECT_EQ(session().discard(ada), Status::distribution_off);
    EXPECT_EQ(session().clear(ada, true), Status::distribution_off);
}

TEST_F(SessionTest, ThatOfALoginOutOfSightIsNobodyElses) {
    const Person ada_in_a_container{"ada", 1000, {}};
    EXPECT_EQ(add(ada_in_a_container, "a@example.net"), Status::ok);
    EXPECT_EQ(add(ada, "b@example.net"), Status::session_locked);
    EXPECT_EQ(add(ada_in_a_container, "b@example.net"), Status::ok);
}

TEST_F(SessionTest, TheFirstChangeOpensTheSession) {
    EXPECT_EQ(session().why_no_pending_copy(), Status::no_distribution_session);
    EXPECT_EQ(session().commit(ada), Status::no_distribution_session);
    EXPECT_EQ(session().discard(ada), Status::no_distribution_session);
    EXPECT_EQ(session().clear(ada, true), Status::no_distribution_session);
    EXPECT_EQ(add(ada, "a@example.net"), Status::ok);
    EXPECT_EQ(session().why_no_pending_copy(), Status::ok);
    EXPECT_EQ(session().open()->owner_name, "ada");
    EXPECT_EQ(session().open()->opened_at, now);
    now += 5;
    EXPECT_EQ(add(ada, "b@example.net"), Status::ok);
    EXPECT_EQ(session().open()->opened_at, now - 5);
    EXPECT_EQ(effective(), Strings{});
    EXPECT_EQ(pending(), (Strings{"a@example.net", "b@example.net"}));
}

TEST_F(SessionTest, AChangeThatIsRefusedOpensNone) {
    const Status refused = session().change(ada, [](ConfigurationCopy& copy) {
        EXPECT_NE(copy.find_profile("full_txt"), nullptr) << "it sees what is configured";
        return Status::already_exists;
    });
    EXPECT_EQ(refused, Status::already_exists);
    EXPECT_FALSE(session().open());
    EXPECT_TRUE(service->store.pending().configuration().profiles.empty());
    start();
    EXPECT_FALSE(session().open());
    EXPECT_TRUE(service->store.pending().configuration().profiles.empty());
    EXPECT_EQ(add(bob, "b@example.net"), Status::ok) << "nobody holds it";
}

TEST_F(SessionTest, ACommitTakesEffectWhenTheEngineHasDecided) {
    add(ada, "a@example.net");
    const std::string to_be = service->pending();
    now += 10;
    EXPECT_EQ(session().commit(ada), Status::ok);
    EXPECT_EQ(service->engine.seen, to_be);
    EXPECT_EQ(last().action, SessionAction::commit);
    EXPECT_EQ(last().result, ActionResult::in_progress);
    EXPECT_EQ(effective(), Strings{});
    now += 2;
    EXPECT_EQ(service->engine.decide(Status::ok), Status::ok);
    EXPECT_EQ(service->effective(), to_be);
    EXPECT_FALSE(session().open());
    EXPECT_EQ(last().result, ActionResult::success);
    EXPECT_EQ(last().at, now);
    EXPECT_EQ(last().user_name, "ada");
    start();
    EXPECT_EQ(service->effective(), to_be);
    EXPECT_TRUE(service->store.pending().configuration().profiles.empty());
    EXPECT_FALSE(session().open());
    EXPECT_EQ(last().result, ActionResult::success);
}

TEST_F(SessionTest, TellsWhenACommitHasTakenEffectAndOnlyThen) {
    std::vector<Strings> told;
    session().when_committed([&] { told.push_back(effective()); });
    ASSERT_EQ(add(ada, "a@example.net"), Status::ok);
    ASSERT_EQ(session().commit(ada), Status::ok);
    service->engine.decide(Status::not_sent);
    EXPECT_TRUE(told.empty());
    ASSERT_EQ(commit(ada), Status::ok);
    EXPECT_EQ(told, (std::vector<Strings>{{"a@example.net"}}));
}

TEST_F(SessionTest, NothingElseHappensWhileACommitIsUnderWay) {
    add(ada, "a@example.net");
    session().commit(ada);
    EXPECT_EQ(add(ada, "b@example.net"), Status::commit_in_progress);
    EXPECT_EQ(session().commit(ada), Status::commit_in_progress);
    EXPECT_EQ(session().discard(ada), Status::commit_in_progress);
    EXPECT_EQ(session().clear(ada, false), Status::commit_in_progress);
    EXPECT_EQ(session().clear(bob, true), Status::commit_in_progress);
    EXPECT_EQ(service->engine.decide(Status::ok), Status::ok);
    EXPECT_EQ(effective(), Strings{"a@example.net"});
}

TEST_F(SessionTest, ADiscardedSessionLeavesNothing) {
    const std::string before = service->effective();
    add(ada, "a@example.net");
    EXPECT_EQ(session().discard(ada), Status::ok);
    EXPECT_EQ(service->effective(), before);
    EXPECT_FALSE(session().open());
    EXPECT_EQ(last().action, SessionAction::discard);
    EXPECT_EQ(last().result, ActionResult::success);
    EXPECT_EQ(last().user_name, "ada");
    start();
    EXPECT_FALSE(session().open());
    EXPECT_TRUE(service->store.pending().configuration().profiles.empty());
}

TEST_F(SessionTest, AnotherUserOrLoginFindsItLocked) {
    add(ada, "a@example.net");
    for (const Person* other : {&bob, &ada_elsewhere}) {
        EXPECT_EQ(add(*other, "b@example.net"), Status::session_locked);
        EXPECT_EQ(session().commit(*other), Status::session_locked);
        EXPECT_EQ(session().discard(*other), Status::session_locked);
        EXPECT_EQ(session().clear(*other, false), Status::session_locked);
    }
    EXPECT_EQ(pending(), Strings{"a@example.net"});
    EXPECT_EQ(add(ada, "c@example.net"), Status::ok);
}

TEST_F(SessionTest, AnyoneMayClearItWhoSaysSo) {
    add(ada, "a@example.net");
    EXPECT_EQ(session().clear(bob, true), Status::ok);
    EXPECT_FALSE(session().open());
    EXPECT_EQ(last().action, SessionAction::clear);
    EXPECT_EQ(last().user_name, "bob");
    EXPECT_EQ(add(bob, "b@example.net"), Status::ok);
    EXPECT_EQ(session().clear(bob, false), Status::ok) << "one's own";
}

TEST_F(SessionTest, TheSameUserGoesOnWhenTheLoginHasGone) {
    add(ada, "a@example.net");
    first_login.end();
    EXPECT_EQ(add(bob, "b@example.net"), Status::session_locked) << "another user does not";
    EXPECT_EQ(add(ada_elsewhere, "c@example.net"), Status::ok);
    EXPECT_EQ(session().open()->owner, ada_elsewhere.who);
    EXPECT_EQ(pending(), (Strings{"a@example.net", "c@example.net"}));
    EXPECT_EQ(add(ada, "d@example.net"), Status::session_locked) << "it has one owner";
    start();
    EXPECT_EQ(session().open()->owner, ada_elsewhere.who);
}

TEST_F(SessionTest, TheSameUserCommitsWhenTheLoginHasGone) {
    add(ada, "a@example.net");
    first_login.kill();
    EXPECT_EQ(commit(ada_elsewhere), Status::ok);
    EXPECT_EQ(effective(), Strings{"a@example.net"});
}

TEST_F(SessionTest, AnOpenSessionSurvivesARestart) {
    add(ada, "a@example.net");
    const std::string before = service->pending();
    start();
    EXPECT_EQ(service->pending(), before);
    EXPECT_EQ(session().open()->owner, ada.who);
    EXPECT_EQ(session().open()->owner_name, "ada");
    EXPECT_EQ(session().open()->opened_at, now);
    EXPECT_EQ(add(bob, "b@example.net"), Status::session_locked);
    EXPECT_EQ(add(ada, "c@example.net"), Status::ok);
    EXPECT_EQ(commit(ada), Status::ok);
    EXPECT_EQ(effective(), (Strings{"a@example.net", "c@example.net"}));
}

TEST_F(SessionTest, ACommitThatARestartInterruptsHasFailed) {
    add(ada, "a@example.net");
    session().commit(ada);
    start();
    EXPECT_EQ(last().action, SessionAction::commit);
    EXPECT_EQ(last().result, ActionResult::fail);
    EXPECT_EQ(last().cause, Status::commit_interrupted);
    EXPECT_EQ(effective(), Strings{});
    EXPECT_EQ(commit(ada), Status::ok) << "the session is still open";
    EXPECT_EQ(effective(), Strings{"a@example.net"});
}

TEST_F(SessionTest, ACommitThatTheEngineRefusesLeavesTheSessionOpen) {
    add(ada, "a@example.net");
    session().commit(ada);
    EXPECT_EQ(service->engine.decide(Status::session_locked), Status::session_locked);
    EXPECT_EQ(last().result, ActionResult::fail);
    EXPECT_EQ(last().cause, Status::session_locked);
    EXPECT_EQ(effective(), Strings{});
    EXPECT_EQ(pending(), Strings{"a@example.net"});
    start();
    EXPECT_EQ(last().cause, Status::session_locked);
    EXPECT_EQ(commit(ada), Status::ok);
}

TEST_F(SessionTest, AnEnabledFeatureKeepsWhatItNeeds) {
    service->store.set_enabled(true);
    EXPECT_EQ(session().change(ada,
                               [](ConfigurationCopy& copy) {
                                   copy.put_periodic_inventory({.notification = true});
                                   return Status::ok;
                               }),
              Status::ok);
    EXPECT_EQ(commit(ada), Status::no_destination);
    EXPECT_EQ(last().cause, Status::no_destination);
    EXPECT_TRUE(session().open());
    add(ada, "a@example.net");
    EXPECT_EQ(commit(ada), Status::no_mail_server);
    EXPECT_EQ(last().cause, Status::no_mail_server);
    session().change(ada, [](ConfigurationCopy& copy) {
        copy.put_mail_server({.host = "mx.example.net", .vrf_name = {}});
        return Status::ok;
    });
    EXPECT_EQ(commit(ada), Status::ok) << "mended";
    EXPECT_EQ(last().cause, Status::ok);
    EXPECT_EQ(effective(), Strings{"a@example.net"});
}

TEST_F(SessionTest, AnIndexOfADiscardedSessionIsNotGivenAgain) {
    add(ada, "a@example.net");
    session().change(ada, [](ConfigurationCopy& copy) {
        copy.add_user_command("test", "show clock");
        return Status::ok;
    });
    session().discard(ada);
    const auto check = [&] {
        add(ada, "b@example.net");
        EXPECT_EQ(service->store.pending().find_profile("full_txt")->email_addresses.front().index, 2U);
        session().change(ada, [](ConfigurationCopy& copy) {
            copy.add_user_command("test", "show clock");
            return Status::ok;
        });
        EXPECT_EQ(service->store.pending().configuration().user_commands.front().index, 2U);
    };
    start();
    check();
    commit(ada);
    EXPECT_EQ(service->store.effective().find_profile("full_txt")->email_addresses.front().index, 2U);
}

TEST_F(SessionTest, ACommittedSessionGoesOnCountingWhereItWas) {
    add(ada, "a@example.net");
    session().change(ada, [](ConfigurationCopy& copy) {
        copy.remove_address(AddressKind::email, "full_txt", "a@example.net");
        return Status::ok;
    });
    commit(ada);
    add(ada, "b@example.net");
    EXPECT_EQ(service->store.pending().find_profile("full_txt")->email_addresses.front().index, 2U);
}

// What is done with the session, each with something to work on.
struct Step {
    const char* name;
    void (*make)(DistributionSession& session, const Person& ada);
};

Status add_one(ConfigurationCopy& copy) {
    const auto& entries = copy.find_profile("full_txt")->email_addresses;
    copy.add_address(AddressKind::email, "full_txt",
                     "a" + std::to_string(entries.empty() ? 1 : entries.back().index + 1));
    return Status::ok;
}

constexpr std::array steps{
    Step{"open", [](DistributionSession& session, const Person& ada) { session.change(ada, add_one); }},
    Step{"change", [](DistributionSession& session, const Person& ada) { session.change(ada, add_one); }},
    Step{"discard", [](DistributionSession& session, const Person& ada) { session.discard(ada); }},
    Step{"open_again",
         [](DistributionSession& session, const Person& ada) { session.change(ada, add_one); }},
    Step{"commit", [](DistributionSession& session, const Person& ada) { session.commit(ada); }},
};

std::string state_of(const Service& service) {
    const auto& open = service.session.open();
    const LastAction& last = service.session.last_action();
    return service.effective() + "\npending\n" + service.pending() + "\nowner " +
           (open ? open->owner_name + std::to_string(open->owner.session.leader) : "none") + " last " +
           std::to_string(static_cast<int>(last.action)) + std::to_string(static_cast<int>(last.result)) +
           std::to_string(static_cast<int>(last.cause));
}

TEST_F(SessionTest, AStepThatCannotBeStoredIsNotMade) {
    for (const Step& step : steps) {
        const std::string before = state_of(*service);
        fail_commits(true);
        EXPECT_THROW(step.make(session(), ada), SQLite::Exception) << step.name;
        fail_commits(false);
        EXPECT_EQ(state_of(*service), before) << step.name;
        start();
        EXPECT_EQ(state_of(*service), before) << step.name;
        step.make(session(), ada);
        EXPECT_NE(state_of(*service), before) << step.name;
    }
}

TEST_F(SessionTest, ACommitThatCannotBeStoredFailsAndIsMended) {
    add(ada, "a@example.net");
    session().commit(ada);
    fail_commits(true);
    EXPECT_EQ(service->engine.decide(Status::ok), Status::storage_failed);
    fail_commits(false);
    EXPECT_EQ(last().result, ActionResult::fail);
    EXPECT_EQ(last().cause, Status::storage_failed);
    EXPECT_EQ(effective(), Strings{});
    EXPECT_EQ(pending(), Strings{"a@example.net"});
    EXPECT_EQ(commit(ada), Status::ok);
    EXPECT_EQ(effective(), Strings{"a@example.net"});
    start();
    EXPECT_EQ(effective(), Strings{"a@example.net"});
    EXPECT_EQ(last().result, ActionResult::success);
}

TEST_F(SessionTest, WhenNotEvenTheFailureCanBeStoredARestartFindsTheCommitInterrupted) {
    add(ada, "a@example.net");
    session().commit(ada);
    fail_commits(true);
    service->engine.decide(Status::ok);
    start();
    EXPECT_EQ(last().result, ActionResult::fail);
    EXPECT_EQ(last().cause, Status::commit_interrupted);
    EXPECT_EQ(pending(), Strings{"a@example.net"});
}

}  // namespace
}  // namespace callhome::service
