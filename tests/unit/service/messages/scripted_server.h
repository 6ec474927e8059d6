// A mail or web server that does what the test tells it to, on a free port of this machine.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace callhome::service::tests {

// What the server does instead of a good answer.
inline const std::string drop_connection = "<drop>";
inline const std::string stay_silent = "<silent>";
inline const std::string then_drop = "<then drop>";  // at the end of a reply by SMTP
inline const std::string good_answer;

struct ReceivedMail {
    std::string sender;    // the argument of MAIL
    std::string receiver;  // the argument of RCPT
    std::string content;   // dots unstuffed
};

// Accepts connections and serves each on a thread of its own until told to stop.
class ScriptedServer {
 public:
    ScriptedServer();
    virtual ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    std::uint16_t port() const { return port_; }
    int connections() const { return connections_; }

 protected:
    // To be called by the constructor and the destructor of the last class.
    void start();
    void stop();

    virtual void serve(int connection) = 0;

    // One line without its end; false when the peer has gone or the server stops.
    bool read_line(int connection, std::string& rest, std::string& line) const;
    bool read_more(int connection, std::string& rest) const;
    void wait_for_peer_to_leave(int connection) const;
    static bool write(int connection, const std::string& text);  // false when the peer has gone

 private:
    void accept_connections();
    bool wait_readable(int descriptor) const;

    std::uint16_t port_ = 0;  // before the listener, which sets it
    int listener_;
    int stop_event_;
    std::atomic<int> connections_ = 0;
    std::thread acceptor_;
    std::vector<std::thread> servers_;
};

class SmtpServer : public ScriptedServer {
 public:
    // Asked at each stage ("greeting", "EHLO", "HELO", "MAIL", "RCPT", "DATA", "content") with the
    // command's argument; gives a reply without its line end, or one of the above.
    using Script = std::function<std::string(const std::string& stage, const std::string& argument)>;

    explicit SmtpServer(Script script = {});
    ~SmtpServer() override { stop(); }

    void set_script(Script script);
    std::vector<ReceivedMail> mails() const;
    std::vector<std::string> commands() const;

 protected:
    void serve(int connection) override;

 private:
    bool answer(int connection, const std::string& stage, const std::string& argument, bool& accepted,
                const ReceivedMail* mail = nullptr);
    bool take_content(int connection, std::string& rest, ReceivedMail& mail);
    std::string scripted(const std::string& stage, const std::string& argument);

    mutable std::mutex mutex_;
    Script script_;
    std::vector<ReceivedMail> mails_;
    std::vector<std::string> commands_;
};

// Answers each POST with the given status line, or one of the above, or as it is told.
class HttpServer : public ScriptedServer {
 public:
    // Writes to the peer; false when it has gone.
    using Write = std::function<bool(const std::string& text)>;

    explicit HttpServer(std::string answer);
    // After `answer` the server is silent until the peer leaves.
    explicit HttpServer(std::function<void(const Write& write)> answer);
    // Asked for each request when its head has come, with its number from 1 on; gives a whole answer, or
    // one of the above. The connection stays open for the next request.
    using Script = std::function<std::string(std::size_t number)>;
    explicit HttpServer(Script script);
    ~HttpServer() override { stop(); }

    std::vector<std::string> requests() const;  // head and body

 protected:
    void serve(int connection) override;

 private:
    bool take_head(int connection, std::string& rest, std::string& head) const;
    bool take_request(int connection, std::string& rest, const std::string& head);
    void serve_by_script(int connection);

    mutable std::mutex mutex_;
    std::string answer_;
    std::function<void(const Write& write)> free_answer_;
    Script script_;
    std::size_t heads_ = 0;
    std::vector<std::string> requests_;
};

// A port that is taken, so that nobody else gets it, and on which nobody listens.
class ClosedPort {
 public:
    ClosedPort();
    ~ClosedPort();
    ClosedPort(const ClosedPort&) = delete;
    ClosedPort& operator=(const ClosedPort&) = delete;

    std::uint16_t number() const { return number_; }

 private:
    std::uint16_t number_ = 0;
    int descriptor_;
};

}  // namespace callhome::service::tests
