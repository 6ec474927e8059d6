// The service's socket with a thread of its own.
#pragma once

#include <gtest/gtest.h>

#include <asio/post.hpp>
#include <future>
#include <thread>

#include "distribution/local_commit_engine.h"
#include "fake_message_service.h"
#include "fake_signatures.h"
#include "protocol/records/feature.h"
#include "server/listener.h"
#include "server/server.h"
#include "socket_client.h"
#include "temporary_folder.h"

namespace callhome::service {

inline Bytes get_traps() {
    return frame_of(protocol::Opcode::traps, protocol::Operation::get, protocol::SwitchRecord{});
}

class RunningServer {
 public:
    explicit RunningServer(ServerLimits limits = {}, bool may_change = true)
        : listener_(folder_ / "socket", SocketAccess::own_user),
          server_(
              io_, dispatcher_, listener_.release(),
              [may_change](const PeerCredentials&) { return may_change; }, limits) {
        server_.when_empty([this] { ++times_empty_; });
        thread_ = std::thread([this] { io_.run(); });
    }

    ~RunningServer() {
        io_.stop();
        thread_.join();
    }

    // Runs `function` on the service's thread and gives back what it returns.
    template <typename Function>
    auto within(Function function) {
        std::packaged_task<decltype(function())()> task(std::move(function));
        auto result = task.get_future();
        asio::post(io_, [&task] { task(); });
        return result.get();
    }

    std::filesystem::path socket() const { return folder_ / "socket"; }
    Store& store() { return store_; }
    // What the service has traced.
    std::string trace() const { return facts_.traces->text_of("callhome").value(); }
    int times_empty() {
        return within([this] { return times_empty_; });
    }
    bool has_clients() {
        return within([this] { return server_.has_clients(); });
    }

    // The service does as before.
    void expect_well() {
        SocketClient client(socket());
        const auto answer = client.ask(get_traps());
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->status(), protocol::Status::ok);
    }

 private:
    TemporaryFolder folder_;
    Database database_{folder_ / "callhome.db"};
    Store store_{database_};
    asio::io_context io_{1};
    MessageService messages_{io_, database_, store_.configuration(), {}};
    SoftwareInventory software_{folder_.path()};
    LocalCommitEngine engine_{io_};
    DistributionSession session_{database_, store_, engine_};
    FakeSignatures files_;
    Catalogue catalogue_{database_, files_.reader()};
    SignatureActions signatures_{catalogue_, store_.configuration(), files_.means()};
    ServiceFacts facts_{database_, "1.2.3"};
    Dispatcher dispatcher_{store_, messages_, software_, session_, signatures_, facts_};
    Listener listener_;
    Server server_;
    int times_empty_ = 0;
    std::thread thread_;
};

}  // namespace callhome::service
