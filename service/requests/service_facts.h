// What the service can tell of itself beyond what is in its store.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "delivery/message_statistics.h"
#include "store/database.h"
#include "trace/traces.h"

namespace callhome::service {

struct ClientFacts {
    std::map<uid_t, std::size_t> connections;  // by user
    std::size_t most_of_a_user = 0;
    std::size_t most = 0;
};

struct ServiceFacts {
    ServiceFacts(Database& opened, std::string running)
        : database(opened), version(std::move(running)), statistics(opened), started_at(wall_clock()) {}

    Database& database;
    const std::string version;
    MessageStatistics statistics;
    const std::int64_t started_at;
    std::shared_ptr<Traces> traces = std::make_shared<Traces>();
    std::filesystem::path database_file;
    std::filesystem::path socket;
    std::function<ClientFacts()> clients;  // empty while nobody is served
};

}  // namespace callhome::service
