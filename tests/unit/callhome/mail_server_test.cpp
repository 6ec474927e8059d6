#include "command.h"
#include "mail_records.h"

namespace callhome::test {
namespace {

class MailServerTest : public LibraryTest {
 protected:
    Outcome configure() { return run(callhome_multiple_smtp, command_); }

    static MailServerRecord sent() { return platform().exchanges.back().record<MailServerRecord>(); }
    static void expect_sent(const MailServerRecord& expected) {
        EXPECT_EQ(platform().exchanges.back().length, 533U);
        EXPECT_TRUE(platform().exchanges.back().sent == in_transport_order(expected));
    }
    static MailServerRecord new_server(std::string_view host, std::uint32_t type) {
        MailServerRecord server{};
        put(server.host, host);
        server.address_type = type;
        server.port = 25;
        server.priority = 50;
        server.reserved = 1;
        return server;
    }
    // The kept server, as a change of nothing sends it.
    static MailServerRecord unchanged() {
        MailServerRecord server = kept_server();
        server.reserved = 1;
        server.trailing_flag = 0;
        return server;
    }
    Command& kept_host() { return command_.address(mail_host, CALLHOME_VALUE_IPV4, {192, 0, 2, 7}); }

    Command command_;
};

TEST_F(MailServerTest, AddsANewServerWithItsDefaults) {
    for (const HostCase& host : host_cases) {
        Command command;
        host.add(command);
        platform().exchanges.clear();
        service_refuses(not_found);
        const auto [result, out, err] = run(callhome_multiple_smtp, command);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "");
        EXPECT_EQ(asked(), (Asked{"2193/5", "2193/3"}));
        EXPECT_EQ(cmd_type, 2U);
        expect_sent(new_server(host.text, host.type));
        EXPECT_FALSE(platform().exchanges.back().wants_reply);
    }
}

TEST_F(MailServerTest, LooksUpByTheHostAlone) {
    service_refuses(not_found);
    kept_host()
        .number<std::uint32_t>(mail_port, 587)
        .text(vrf_name, "x")
        .number<std::uint32_t>(mail_priority, 3);
    configure();
    MailServerRecord expected{};
    put(expected.host, "192.0.2.7");
    expected.address_type = 1;
    EXPECT_TRUE(platform().exchanges.at(0).sent == in_transport_order(expected));
    EXPECT_EQ(platform().exchanges.at(0).length, 533U);
    EXPECT_TRUE(platform().exchanges.at(0).wants_reply);
}

TEST_F(MailServerTest, TakesAnyFailedLookUpForANewServer) {
    for (const ServiceStatus status : {5, 0x403B0001, 0x403B000B, 0x403B0010}) {
        Command command;
        service_says(answer(kept_server(), status));
        EXPECT_EQ(run(callhome_multiple_smtp, command.host_name(mail_host, "a")).result, 0);
        expect_sent(new_server("a", 16));
    }
}

TEST_F(MailServerTest, FallsBackToTheEffectiveCopyWithTheSameRecord) {
    for (const ServiceStatus no_pending_copy : {0x403B0032, 0x403B0034}) {
        for (const bool known : {false, true}) {
            Command command;
            platform().exchanges.clear();
            service_says(answer(kept_server(), no_pending_copy));
            service_says(known ? answer(kept_server()) : refusal(not_found));
            run(callhome_multiple_smtp, command.address(mail_host, CALLHOME_VALUE_IPV4, {192, 0, 2, 7}));
            EXPECT_EQ(asked(), (Asked{"2193/5", "2193/1", "2193/3"}));
            const Exchange& first = platform().exchanges.at(0);
            const Exchange& second = platform().exchanges.at(1);
            EXPECT_TRUE(second.handed_over == first.sent);
            EXPECT_TRUE(second.sent == first.handed_over);
            expect_sent(known ? unchanged() : new_server("192.0.2.7", 1));
        }
    }
}

TEST_F(MailServerTest, KeepsWhatTheServiceKnowsOfAServer) {
    service_says(answer(kept_server()));
    kept_host();
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    expect_sent(unchanged());
}

TEST_F(MailServerTest, ChangesPriorityAndVrfOfAKnownServer) {
    platform().vrfs = {{"green", 5}};
    service_says(answer(kept_server()));
    kept_host().number<std::uint32_t>(mail_priority, 99).text(vrf_name, "green");
    EXPECT_EQ(configure().result, 0);
    MailServerRecord expected = unchanged();
    expected.priority = 99;
    put(expected.vrf_name, "green");
    expected.vrf_id = 5;
    expect_sent(expected);
}

TEST_F(MailServerTest, RefusesToChangeThePortOfAKnownServer) {
    service_says(answer(kept_server()));
    kept_host().number<std::uint32_t>(mail_port, 588);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, port_warning);
    EXPECT_EQ(err, "Not allowed to change the port of existing SMTP server.\n");
    EXPECT_EQ(asked(), Asked{"2193/5"});
}

TEST_F(MailServerTest, RefusesToChangeAKnownPortOfZeroToo) {
    MailServerRecord server = kept_server();
    server.port = 0;
    service_says(answer(server));
    kept_host().number<std::uint32_t>(mail_port, 25);
    EXPECT_EQ(configure().err, "Not allowed to change the port of existing SMTP server.\n");
    EXPECT_EQ(asked(), Asked{"2193/5"});
}

TEST_F(MailServerTest, AcceptsThePortThatAKnownServerHas) {
    service_says(answer(kept_server()));
    kept_host().number<std::uint32_t>(mail_port, 587);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, port_warning);
    EXPECT_EQ(err, "");
    expect_sent(unchanged());
}

TEST_F(MailServerTest, WarnsOfAPortThatIsNotTheStandardOne) {
    for (const std::uint32_t port : {0U, 24U, 25U, 587U}) {
        Command command;
        service_refuses(not_found);
        const auto [result, out, err] =
            run(callhome_multiple_smtp, command.host_name(mail_host, "a").number(mail_port, port));
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out, port == 25 ? "" : port_warning);
        EXPECT_EQ(sent().port, port);
    }
}

TEST_F(MailServerTest, RemovesAServerByTheNoFormWhateverItsPort) {
    service_says(answer(kept_server()));
    kept_host().no().number<std::uint32_t>(mail_port, 99);
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "") << "no warning of a port";
    EXPECT_EQ(asked(), (Asked{"2193/5", "2193/4"}));
    MailServerRecord expected = unchanged();
    expected.port = 99;
    expect_sent(expected);
}

TEST_F(MailServerTest, SendsARemovalAlsoOfAServerThatIsNotKnown) {
    service_refuses(not_found);
    service_refuses(not_found);
    const auto [result, out, err] = run(callhome_multiple_smtp, command_.no().host_name(mail_host, "a"));
    EXPECT_EQ(asked(), (Asked{"2193/5", "2193/4"}));
    expect_sent(new_server("a", 16));
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, not_found_text);
    EXPECT_EQ(err, "");
}

TEST_F(MailServerTest, ReportsARefusedSet) {
    service_refuses(not_found);
    service_refuses(0x403B000E);
    const auto [result, out, err] = run(callhome_multiple_smtp, command_.host_name(mail_host, "a"));
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "text of 0x403B000E\n");
    EXPECT_EQ(err, "");
}

TEST_F(MailServerTest, RefusesAHostOfAnotherFormBeforeAnyRequest) {
    for (const std::uint32_t value_type : {0U, 0x40000001U, 0x40000010U}) {
        Command command;
        const auto [result, out, err] =
            run(callhome_multiple_smtp, command.address(mail_host, value_type, {192, 0, 2, 7}).keyword(1));
        EXPECT_EQ(result, 1);
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, "Invalid host address");
        EXPECT_EQ(asked(), Asked{});
    }
}

TEST_F(MailServerTest, SaysTwiceWhichTokensItDoesNotKnowAndGoesOn) {
    for (const std::uint32_t id : {0U, 1U, 11U, 12U, 13U, 85U, 86U, 87U, 98U}) {
        Command command;
        service_refuses(not_found);
        const auto [result, out, err] =
            run(callhome_multiple_smtp, command.text(id, "x").host_name(mail_host, "a").null_token());
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, "invalid tidinvalid tid") << id;
        expect_sent(new_server("a", 16));
    }
}

TEST_F(MailServerTest, SaysNothingOfTheTokensThatItKnows) {
    service_refuses(not_found);
    command_.host_name(mail_host, "a")
        .number<std::uint32_t>(mail_port, 25)
        .text(vrf_name, "v")
        .number<std::uint32_t>(mail_priority, 1);
    EXPECT_EQ(configure().err, "");
}

TEST_F(MailServerTest, LetsALaterHostWin) {
    service_refuses(not_found);
    command_.host_name(mail_host, "a rather long name").host_name(mail_host, "b");
    configure();
    expect_sent(new_server("b", 16));
}

TEST_F(MailServerTest, ServersOfAnUnknownVrfHaveNoContext) {
    platform().vrfs = {{"management", 2}};
    for (const auto& [name, init, context] :
         {std::tuple{"management", 0, 2U}, {"unheard-of", 0, 0U}, {"management", -1, 0U}}) {
        Command command;
        platform().vrf_init_result = init;
        service_refuses(not_found);
        run(callhome_multiple_smtp, command.host_name(mail_host, "a").text(vrf_name, name));
        MailServerRecord expected = new_server("a", 16);
        put(expected.vrf_name, name);
        expected.vrf_id = context;
        expect_sent(expected);
    }
}

TEST_F(MailServerTest, CutsTheVrfNameToItsField) {
    service_refuses(not_found);
    run(callhome_multiple_smtp, command_.host_name(mail_host, "a").text(vrf_name, std::string(5000, 'v')));
    EXPECT_EQ(text(sent().vrf_name), std::string(255, 'v'));
}

TEST_F(MailServerTest, PassesOverMissingValues) {
    service_says(answer(kept_server()));
    kept_host().valueless(mail_host, CALLHOME_VALUE_IPV6).null_token();
    for (const std::uint32_t id : {mail_port, mail_priority, vrf_name}) {
        command_.keyword(id);
    }
    const auto [result, out, err] = configure();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    expect_sent(unchanged());
}

TEST_F(MailServerTest, ReadsAVrfNameWithoutATerminatorWithinItsField) {
    MailServerRecord server = kept_server();
    std::memset(server.vrf_name, 'v', sizeof server.vrf_name);
    service_says(answer(server));
    kept_host();
    configure();
    EXPECT_EQ(text(sent().vrf_name), std::string(255, 'v'));
}

TEST_F(MailServerTest, ChangesNothingWhenTheAnswerIsIncomplete) {
    for (std::size_t length = 0; length < sizeof(MailServerRecord); ++length) {
        Command command;
        platform().exchanges.clear();
        service_says(cut(answer(kept_server()), length));
        const auto [result, out, err] = run(callhome_multiple_smtp, command.host_name(mail_host, "a"));
        ASSERT_EQ(result, 1);
        ASSERT_EQ(out, "");
        ASSERT_EQ(err, "The answer of the call-home service was incomplete (" + std::to_string(length) +
                           " of 533 bytes); nothing was changed\n");
        ASSERT_EQ(asked(), Asked{"2193/5"});
    }
}

}  // namespace
}  // namespace callhome::test
