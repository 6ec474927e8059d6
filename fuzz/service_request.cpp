// Any bytes as frames through the service's connection, its requests and its store.
//
// Input: flags, and then steps: most are requests (number of an opcode, operation, record), others are
// bytes as they are, the end of a wait for a message or a download, answers to a signature's questions, or
// a deadline that passes.
#include <fcntl.h>
#include <spdlog/spdlog.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "catalogue_description.h"
#include "description.h"
#include "distribution/local_commit_engine.h"
#include "fake_message_service.h"
#include "fake_signatures.h"
#include "input.h"
#include "protocol/layout.h"
#include "record_input.h"
#include "require.h"
#include "server/connection.h"

using callhome::fuzz::Input;
using callhome::fuzz::require;
using callhome::fuzz::take_record;
using callhome::fuzz::take_status;

namespace callhome::service {
namespace {

using Bytes = std::vector<std::byte>;

enum Flag : unsigned {
    reader_only = 1U << 0U,
    refused_client = 1U << 1U,
    message_answered_at_once = 1U << 2U,
    has_messages = 1U << 3U,
    message_not_stored = 1U << 4U,
};

constexpr const char* plain_text = "plain";
constexpr const char* asking_text = "asking";

// A configuration in memory and in the database. A fresh one costs more than most inputs do, so it is used
// until an input has changed it.
class Storage {
 public:
    static Storage& fresh() {
        static std::optional<Storage> kept;
        if (!kept || kept->has_changed()) {
            kept.reset();
            kept.emplace();
        }
        return *kept;
    }
    Storage() {
        lay_down_signatures();
        as_created_ = description();
        changes_ = database_changes();
    }

    bool has_changed() { return database_changes() != changes_ || description() != as_created_; }
    // What is in memory is what another start of the service would read.
    void check() {
        if (has_changed()) {
            const Store read_again(database);
            require(description_of(read_again.configuration()) == description_of(store.configuration()),
                    "memory and database hold the same configuration");
            require(description_of(read_again.pending().configuration()) ==
                        description_of(store.pending().configuration()),
                    "memory and database hold the same pending copy");
            const Catalogue catalogue_again(database, signatures.reader());
            require(description_of(catalogue_again) == description_of(catalogue),
                    "memory and database hold the same signatures");
        }
    }

    Database database{""};
    Store store{database};
    FakeSignatures signatures;
    Catalogue catalogue{database, signatures.reader()};
    ServiceFacts facts{database, "1.2.3"};

 private:
    int database_changes() { return database.connection().getTotalChanges(); }
    std::string description() const {
        return description_of(store.configuration()) + description_of(catalogue);
    }

    // One that asks nothing, and one that does.
    void lay_down_signatures() {
        signatures.known[plain_text] = plain_signature(1);
        Signature asking = plain_signature(2);
        SignatureVariable port = prompted_variable("ds_port", "Which port?");
        port.pattern = "[a-z]+[0-9]*";
        asking.variables = {port, prompted_variable("ds_mail", "Whom to tell?")};
        asking.commands = {"show interface $ds_port"};
        signatures.known[asking_text] = asking;
        catalogue.load({{signatures.known[plain_text], plain_text}, {asking, asking_text}});
    }

    std::string as_created_;
    int changes_ = 0;
};

// The service with one client.
class World final : public ConnectionHost {
 public:
    World(Storage& storage, unsigned flags)
        : is_refused_((flags & refused_client) != 0),
          messages_(io_, storage.database, storage.store.configuration(), {}),
          engine_(io_),
          session_(storage.database, storage.store, engine_),
          files_(storage.signatures),
          signatures_(storage.catalogue, storage.store.configuration(), files_.means()),
          dispatcher_(storage.store, messages_, software(), session_, signatures_, storage.facts) {
        int ends[2];
        require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "sockets can be made");
        client_ = ends[1];
        lay_down_messages(flags);
        const Admission admission{
            .user = ::getuid(), .may_change = (flags & reader_only) == 0, .refused = is_refused_};
        connection_ = std::make_shared<Connection>(
            Connection::Socket(io_, asio::local::stream_protocol(), ends[0]), admission, *this);
        connection_->start();
    }
    World(const World&) = delete;
    World& operator=(const World&) = delete;
    ~World() {
        if (connection_ != nullptr) {
            connection_->close();
        }
        run();
        files_.finish_download = nullptr;
        ::close(client_);
    }

    void send(std::span<const std::byte> bytes) {
        ::send(client_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        run();
        take_replies();
    }
    void hang_up() {
        ::shutdown(client_, SHUT_WR);
        run();
        take_replies();
        const bool is_awaited = !fake_messages().unanswered.empty() ||
                                !fake_messages().unanswered_previews.empty() || files_.finish_download;
        require(connection_ == nullptr || is_awaited, "a connection closes after its client");
    }
    void finish_message(Input& input) {
        for (const auto& done : std::exchange(fake_messages().unanswered, {})) {
            done(static_cast<protocol::Status>(take_status(input)), input.counted_text());
        }
        for (const auto& done : std::exchange(fake_messages().unanswered_previews, {})) {
            finish_preview(input, done);
        }
        run();
        take_replies();
    }
    void finish_download(Input& input) {
        const auto done = std::exchange(files_.finish_download, nullptr);
        if (!done) {
            return;
        }
        DownloadResult result;
        const unsigned content = input.byte();
        if ((content & 1U) != 0) {
            result.refusal = Refusal{protocol::ResultCode::http_answer_invalid, input.counted_text()};
        }
        for (const char* text : {plain_text, asking_text}) {
            DownloadedFile& file = result.files.emplace_back();
            file.id = (content & 2U) != 0 ? files_.known[text].id : input.byte();
            file.xml = (content & 4U) != 0 ? text : input.counted_text();
        }
        done(std::move(result));
        run();
        take_replies();
    }
    // What came as the questions of a signature goes back with answers.
    void answer_questions(Input& input);
    void pass_deadline() {
        const auto connection = connection_;
        if (connection != nullptr && connection->deadline()) {
            connection->deadline_passed();
            run();
            take_replies();
        }
    }

    Dispatcher& dispatcher() override { return dispatcher_; }
    Clock::duration frame_time() const override { return std::chrono::hours(1); }
    Clock::duration refusal_time() const override { return std::chrono::hours(1); }
    void watch_deadline(Clock::time_point /*deadline*/) override {}
    void complain(const std::string& line) override { require(!line.empty(), "complaints say why"); }
    void closed(Connection& /*connection*/) override { connection_.reset(); }

 private:
    void run() {
        io_.restart();
        io_.poll();
    }

    static void finish_preview(Input& input, const PreviewDone& done) {
        constexpr unsigned most_messages = 4;
        std::vector<NewMessage> messages(input.byte() % most_messages);
        for (NewMessage& message : messages) {
            message.profile = input.counted_text();
            message.subject = input.counted_text();
            message.content = input.counted_text();
            message.receivers.assign(input.byte(), input.counted_text());
        }
        done(static_cast<protocol::Status>(take_status(input)), input.counted_text(), messages);
    }

    // What is installed is no part of the input: one list does for all.
    static SoftwareInventory& software() {
        static SoftwareInventory installed;
        return installed;
    }

    static void lay_down_messages(unsigned flags) {
        FakeMessages& fake = fake_messages();
        if ((flags & message_answered_at_once) != 0) {
            fake.answer.emplace(protocol::Status::ok, "Successfully sent to ada@example.net\n");
        }
        if ((flags & has_messages) != 0) {
            fake.messages.push_back({.id = 1});
            fake.deliveries.push_back({.id = 1, .message_id = 1});
            fake.text = "Subject: test\n";
        }
        if ((flags & message_not_stored) != 0) {
            fake.storage_error = "disk full";
        }
    }

    void take_replies() {
        std::array<std::byte, 65536> buffer;
        ssize_t received = 0;
        while ((received = ::recv(client_, buffer.data(), buffer.size(), MSG_DONTWAIT)) > 0) {
            unread_.insert(unread_.end(), buffer.begin(), buffer.begin() + received);
        }
        while (take_reply()) {
        }
    }

    // False when no whole reply is there.
    bool take_reply() {
        protocol::FrameHeaderBytes header_bytes;
        if (unread_.size() < header_bytes.size()) {
            return false;
        }
        std::memcpy(header_bytes.data(), unread_.data(), header_bytes.size());
        const protocol::FrameHeader header = protocol::decode(header_bytes);
        require(protocol::why_invalid(header, protocol::FrameKind::reply) == nullptr, "replies are frames");
        if (unread_.size() < header_bytes.size() + header.length) {
            return false;
        }
        check_reply(header, std::span(unread_).subspan(header_bytes.size(), header.length));
        unread_.erase(unread_.begin(),
                      unread_.begin() + static_cast<std::ptrdiff_t>(header_bytes.size() + header.length));
        return true;
    }

    void check_reply(const protocol::FrameHeader& header, std::span<const std::byte> body) {
        if (static_cast<protocol::Opcode>(header.opcode) == protocol::Opcode::signature_action) {
            last_action_.assign(body.begin(), body.end());
        }
        const auto status = static_cast<protocol::Status>(header.status);
        require(!is_refused_ || status == protocol::Status::too_many_connections,
                "a client that was refused gets no answers");
        const protocol::Exchange* exchange = protocol::find_exchange(header.opcode);
        if (body.empty() || exchange == nullptr || exchange->reply.fields.empty() ||
            exchange->opcode == protocol::Opcode::send_message) {
            return;
        }
        const std::size_t record = std::min(body.size(), exchange->reply.size);
        require(protocol::why_invalid(body.first(record), exchange->reply) == nullptr,
                "a reply is its opcode's record");
        require(body.size() - record <= exchange->behind_reply, "no more stands behind it than may");
    }

    const bool is_refused_;
    int client_ = -1;
    Bytes unread_;
    asio::io_context io_{1};
    MessageService messages_;
    LocalCommitEngine engine_;
    DistributionSession session_;
    FakeSignatures& files_;
    SignatureActions signatures_;
    Dispatcher dispatcher_;
    std::shared_ptr<Connection> connection_;
    Bytes last_action_;  // the reply to it, in the transport's byte order
};

Bytes frame(std::uint32_t opcode, std::uint32_t operation, std::span<const std::byte> body) {
    const auto header = protocol::encode(
        protocol::request_header(opcode, operation, static_cast<std::uint32_t>(body.size())));
    Bytes bytes(header.begin(), header.end());
    bytes.insert(bytes.end(), body.begin(), body.end());
    return bytes;
}

void World::answer_questions(Input& input) {
    protocol::DsActionRecord action;
    if (last_action_.size() <= sizeof(action)) {
        return;
    }
    Bytes body = last_action_;
    const auto head = std::span(body).first(sizeof(action));
    const protocol::Layout layout = protocol::layout_of<protocol::DsActionRecord>();
    protocol::convert_byte_order(head, layout);
    std::memcpy(&action, head.data(), sizeof(action));
    action.action = static_cast<std::uint32_t>(protocol::SignatureAction::install_answers);
    std::memcpy(head.data(), &action, sizeof(action));
    protocol::convert_byte_order(head, layout);
    for (std::size_t at = sizeof(action); at + sizeof(protocol::DsQuestionRecord) <= body.size();
         at += sizeof(protocol::DsQuestionRecord)) {
        const auto answer =
            input.bytes(std::min<std::size_t>(input.byte(), sizeof(protocol::DsQuestionRecord::answer)));
        std::ranges::copy(answer, body.begin() + static_cast<std::ptrdiff_t>(
                                                     at + offsetof(protocol::DsQuestionRecord, answer)));
    }
    send(frame(static_cast<std::uint32_t>(protocol::Opcode::signature_action),
               static_cast<std::uint32_t>(protocol::Operation::set), body));
}

// New opcodes go to the end: the corpus counts on the places of the others.
constexpr std::array opcodes{
    protocol::Opcode::mail_settings,
    protocol::Opcode::profile_email,
    protocol::Opcode::destination_profile,
    protocol::Opcode::contact_field,
    protocol::Opcode::feature_state,
    protocol::Opcode::send_message,
    protocol::Opcode::traps,
    protocol::Opcode::profile_url,
    protocol::Opcode::mail_server,
    protocol::Opcode::message_log,
    protocol::Opcode::delivery_log,
    protocol::Opcode::message_text,
    protocol::Opcode::post_alert,
    protocol::Opcode::alert_group,
    protocol::Opcode::user_command,
    protocol::Opcode::duplicate_throttle,
    protocol::Opcode::periodic_inventory,
    protocol::Opcode::data_privacy,
    protocol::Opcode::http_vrf,
    protocol::Opcode::http_proxy,
    protocol::Opcode::distribution,
    protocol::Opcode::commit,
    protocol::Opcode::clear_session,
    protocol::Opcode::session_state,
    protocol::Opcode::software_inventory,
    protocol::Opcode::service_info,
    protocol::Opcode::signature_view,
    protocol::Opcode::message_statistics,
    protocol::Opcode::signatures_active,
    protocol::Opcode::signature_profile,
    protocol::Opcode::signature_environment,
    protocol::Opcode::signature_statistics,
    protocol::Opcode::signature_action,
    protocol::Opcode::trace_buffer,
    protocol::Opcode::memory_statistics,
    protocol::Opcode::queue_state,
    protocol::Opcode::profile_statistics,
    protocol::Opcode::clear_queue,
    protocol::Opcode::resend_message,
    protocol::Opcode::message_tail,
    protocol::Opcode::message_preview,
};

bool lists_every_opcode() {
    return std::ranges::all_of(request_rows(), [](const RequestRow& row) {
        return std::ranges::find(opcodes, row.opcode) != opcodes.end();
    });
}

Bytes take_request(std::size_t number, Input& input) {
    constexpr std::uint32_t beyond_operations =
        static_cast<std::uint32_t>(protocol::Operation::get_next_pending) + 1;
    const auto opcode = static_cast<std::uint32_t>(opcodes[number % opcodes.size()]);
    const std::uint32_t operation = input.byte() % beyond_operations;
    const protocol::Exchange* exchange = protocol::find_exchange(opcode);
    require(exchange != nullptr, "the service answers opcodes of the protocol only");
    return frame(opcode, operation, take_record(input, exchange->request));
}

// First bytes of a step that are not the number of an opcode.
enum Step : std::uint8_t {
    any_bytes = 0xFF,
    any_body = 0xFE,
    finish_message = 0xFD,
    pass_deadline = 0xFC,
    finish_download = 0xFB,
    answer_questions = 0xFA,
};

void take_step(World& world, Input& input) {
    const std::uint8_t step = input.byte();
    switch (step) {
        case any_bytes:
            world.send(input.counted_bytes());
            break;
        case any_body: {
            const std::uint32_t opcode = input.word();
            const std::uint32_t operation = input.byte();
            world.send(frame(opcode, operation, input.counted_bytes()));
            break;
        }
        case finish_message:
            world.finish_message(input);
            break;
        case pass_deadline:
            world.pass_deadline();
            break;
        case finish_download:
            world.finish_download(input);
            break;
        case answer_questions:
            world.answer_questions(input);
            break;
        default:
            world.send(take_request(step, input));
    }
}

}  // namespace
}  // namespace callhome::service

using namespace callhome::service;

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    spdlog::set_level(spdlog::level::off);
    require(lists_every_opcode(), "the opcodes of the service's table are listed here, too");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const unsigned flags = input.byte();
    Storage& storage = Storage::fresh();
    {
        World world(storage, flags);
        while (!input.is_empty()) {
            take_step(world, input);
        }
        world.hang_up();
    }
    require((flags & (reader_only | refused_client)) == 0 || !storage.has_changed(),
            "who may only read changes nothing");
    storage.check();
    return 0;
}
