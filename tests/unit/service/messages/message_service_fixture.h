// A message service with its database, a clock that the test sets, and a mail server that obeys it.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <optional>

#include "messages/message_service.h"
#include "samples.h"
#include "scripted_server.h"
#include "temporary_folder.h"

namespace callhome::service::tests {

// Far more than anything here takes: only a test that fails waits for it.
inline constexpr std::chrono::seconds patience{30};

struct Reply {
    protocol::Status status;
    std::string text;
};

class MessageServiceTest : public testing::Test {
 protected:
    MessageServiceTest() {
        settings_.transfer.response = std::chrono::seconds(1);
        settings_.clock_check = std::chrono::milliseconds(2);
        settings_.retry.most_cut = 0;
        settings_.marker = folder_.path() / "processing_mesg";
        settings_.now = [this] { return clock_.load(); };
        settings_.now_milliseconds = [this] { return clock_.load() * 1000; };
        configuration_ = sample_configuration();
        use(server_);
    }

    void use(const ScriptedServer& server) {
        configuration_.mail_servers = {{"127.0.0.1", {}, server.port(), 50, "", 0}};
    }
    void start() {
        database_.emplace(folder_.path() / "callhome.db");
        service_.emplace(io_, *database_, configuration_, settings_);
    }
    void stop() {
        service_.reset();
        database_.reset();
    }
    void restart() {
        stop();
        start();
    }
    template <typename Condition>
    bool run_until(Condition condition) {
        const auto end = std::chrono::steady_clock::now() + patience;
        while (!condition() && std::chrono::steady_clock::now() < end) {
            io_.restart();
            io_.run_one_for(std::chrono::milliseconds(50));
        }
        return condition();
    }
    Reply wait_for(const std::optional<Reply>& reply) {
        EXPECT_TRUE(run_until([&] { return reply.has_value(); }));
        return reply.value_or(Reply{protocol::Status::transport_failed, "no reply"});
    }
    Reply send(const MessageRequest& request) {
        std::optional<Reply> reply;
        service_->send(request, into(reply));
        return wait_for(reply);
    }
    Reply send(const std::string& type) { return send({type, "one", "two", "ada"}); }
    static MessageService::Done into(std::optional<Reply>& reply) {
        return [&reply](protocol::Status status, std::string text) {
            EXPECT_FALSE(reply.has_value());
            reply = Reply{status, std::move(text)};
        };
    }
    protocol::DeliveryState state() const {
        return static_cast<protocol::DeliveryState>(service_->delivery_after(0, 0)->state);
    }
    std::string through() const { return "127.0.0.1:" + std::to_string(server_.port()); }

    TemporaryFolder folder_;
    std::atomic<std::int64_t> clock_ = 1'700'000'000;
    SmtpServer server_;
    asio::io_context io_;
    Configuration configuration_;
    DeliverySettings settings_;
    std::optional<Database> database_;
    std::optional<MessageService> service_;
};

}  // namespace callhome::service::tests
