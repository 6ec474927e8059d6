// callhomed: start-up, and the orderly end.
#include <fcntl.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <memory>
#include <optional>

#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>

#include "distribution/local_commit_engine.h"
#include "distribution/session.h"
#include "log.h"
#include "messages/message_service.h"
#include "messages/periodic_inventory.h"
#include "options.h"
#include "requests/dispatch.h"
#include "server/idle_watch.h"
#include "server/listener.h"
#include "server/server.h"
#include "signatures/actions.h"
#include "signatures/catalogue.h"
#include "signatures/downloader.h"
#include "signatures/log_source.h"
#include "signatures/runner.h"
#include "signatures/signature_file.h"
#include "state_folder.h"
#include "store/storage_watch.h"
#include "store/store.h"

namespace callhome::service {
namespace {

// All handlers run in one thread; asio can spare itself some locking.
constexpr int one_thread = 1;
constexpr int keep_environment = 0;

SocketAccess access_of(const Options& options) {
    return options.system ? SocketAccess::everyone : SocketAccess::own_user;
}

Listener open_listener(const Options& options) {
    if (auto passed = Listener::from_service_manager()) {
        spdlog::info("listening on the socket of the service manager");
        return *std::move(passed);
    }
    Listener listener(options.socket, access_of(options));
    spdlog::info("listening on {}", options.socket.string());
    return listener;
}

void announce_ready(const Options& options) {
    ::sd_notify(keep_environment, "READY=1");
    if (!options.ready_descriptor) {
        return;
    }
    const char ready = '\n';  // a line for who reads lines
    if (::write(*options.ready_descriptor, &ready, sizeof(ready)) != sizeof(ready)) {
        spdlog::warn("whoever started this service does not wait for it any more");
    }
    ::close(*options.ready_descriptor);
}

void tell_service_manager(const std::string& trouble) {
    ::sd_notify(keep_environment,
                ("STATUS=" + (trouble.empty() ? "in order" : "degraded: " + trouble)).c_str());
}

void end_on_signals(asio::signal_set& signals, asio::io_context& io) {
    signals.async_wait([&io](const asio::error_code& error, int number) {
        if (!error) {
            spdlog::info("ending on signal {}", number);
            io.stop();
        }
    });
}

SignatureActions::Means means_of(const Options& options, Downloader& downloader) {
    SignatureActions::Means means;
    means.verify = [trust = options.trust](std::string_view content,
                                           const std::optional<DetachedSignature>& signature) {
        return refuse_untrusted(content, signature, trust);
    };
    means.read = read_signature;
    means.download = [&downloader](DownloadJob job, Downloader::Done done) {
        return downloader.submit(std::move(job), std::move(done));
    };
    means.waiting_downloads = [&downloader](DownloadKind kind) { return downloader.waiting(kind); };
    means.software_version = CALLHOME_VERSION;
    return means;
}

ClientFacts facts_of(const Server& server) {
    return {.connections = server.clients(),
            .most_of_a_user = server.limits().connections_per_user,
            .most = server.limits().connections};
}

CommandSettings command_settings(const Options& options) {
    return {.program = shell_beside_this_program(),
            .socket = std::filesystem::absolute(options.socket),
            .user = options.command_user,
            .time = options.command_limit};
}

EventSettings event_settings(const Options& options) {
    EventSettings settings;
    settings.throttle = options.throttle;
    settings.commands = command_settings(options);
    return settings;
}

void serve(const Options& options) {
    const auto traces = std::make_shared<Traces>();
    trace_log(traces);
    spdlog::info("callhomed {} starts", CALLHOME_VERSION);
    const StateFolder state(options.state_folder);
    Database database(state.database());
    Store store(database);
    asio::io_context io(one_thread);
    asio::signal_set signals(io, SIGTERM, SIGINT, SIGHUP);
    end_on_signals(signals, io);
    MessageService messages(io, database, store.configuration(), options.delivery, event_settings(options));
    StorageWatch storage_watch(io, database, options.storage_check, [&messages] { messages.look_again(); });
    storage_watch.when_told(tell_service_manager);
    SoftwareInventory software;
    LocalCommitEngine commit_engine(io);
    DistributionSession session(database, store, commit_engine);
    Catalogue catalogue(database, read_signature, options.delivery.now);
    Downloader downloader(io, options.delivery.transfer);
    SignatureActions signature_actions(catalogue, store.configuration(), means_of(options, downloader));
    ServiceFacts facts(database, CALLHOME_VERSION);
    facts.traces = traces;
    facts.database_file = state.database();
    facts.socket = options.socket;
    Dispatcher dispatcher(store, messages, software, session, signature_actions, facts);
    InventoryTimer inventory(io, database, store.configuration(), messages, options.delivery);
    const auto settings_may_have_changed = [&inventory] { inventory.settings_may_have_changed(); };
    dispatcher.when_changed(settings_may_have_changed);
    session.when_committed(settings_may_have_changed);
    SignatureRunner signatures(io, catalogue, store.configuration(), messages, command_settings(options),
                               options.delivery);
    LogSources log_sources(
        io, {.socket = options.log_socket, .access = access_of(options), .journal_folder = {}},
        [&signatures](std::string_view line) { signatures.take_line(line); });
    signatures.when_listening_changes([&log_sources](bool listens) { log_sources.listen(listens); });
    Listener listener = open_listener(options);
    Server server(io, dispatcher, listener.release(),
                  [policy = ChangePolicy::of_this_process()](const PeerCredentials& peer) {
                      return policy.allows(peer);
                  });
    facts.clients = [&server] { return facts_of(server); };
    std::optional<IdleWatch> idle;
    if (options.exit_when_idle) {
        idle.emplace(io, IdleTimes{},
                     IdleWatch::Questions{.has_clients = [&server] { return server.has_clients(); },
                                          .is_busy =
                                              [&] {
                                                  return messages.busy_soon() || session.is_committing() ||
                                                         inventory.due_soon() || signatures.is_busy();
                                              }},
                     [&io] {
                         spdlog::info("ending: no client is left and no message is due");
                         io.stop();
                     });
        server.when_empty([&idle] { idle->last_client_has_gone(); });
    }
    announce_ready(options);
    io.run();
    ::sd_notify(keep_environment, "STOPPING=1");
}

// What is printed to a standard stream that came closed must not reach the database or socket that would
// take its number.
void take_closed_streams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) < 0) {
            (void)::open("/dev/null", O_RDWR);  // the lowest free number, which is this one
        }
    }
}

ExitStatus run(const Options& options) {
    try {
        serve(options);
        return exit_done;
    } catch (const AlreadyRunning& reason) {
        spdlog::error("not started: {}", reason.what());
        return exit_already_running;
    } catch (const SQLite::Exception& error) {
        spdlog::critical("the database in {} cannot be used: {}; {}", options.state_folder.string(),
                         error.what(), remedy_for(error.getErrorCode()));
        return exit_failed;
    } catch (const std::exception& error) {
        spdlog::critical("{}", error.what());
        return exit_failed;
    }
}

}  // namespace
}  // namespace callhome::service

int main(int argument_count, char** arguments) {
    using namespace callhome::service;
    take_closed_streams();
    const auto parsed = parse_options(argument_count, arguments);
    if (const auto* status = std::get_if<ExitStatus>(&parsed)) {
        return *status;
    }
    const auto& options = std::get<Options>(parsed);
    constexpr mode_t nothing_for_others = 077;
    ::umask(nothing_for_others);
    // A peer that goes away shows as an error of the write to it.
    (void)std::signal(SIGPIPE, SIG_IGN);
    start_log(options.log_level);
    if (options.ready_descriptor && ::fcntl(*options.ready_descriptor, F_SETFD, FD_CLOEXEC) != 0) {
        spdlog::critical("--ready-fd {} is not an open descriptor", *options.ready_descriptor);
        return exit_usage;
    }
    return run(options);
}
