// What a mail server says, and to which command. libcurl tells neither by itself when a transfer fails.
#pragma once

#include <string>
#include <string_view>

namespace callhome::service {

class Conversation {
 public:
    // From the greeting on; or, on a connection that has carried mail before, from the next mail on.
    explicit Conversation(bool is_encrypted = false) : is_encrypted_(is_encrypted) {}

    void take_command(std::string_view bytes);
    void take_content();
    void take_reply(std::string_view bytes);

    // Of the last reply; 0 before the first. A server that says at EHLO that it closes the connection may
    // do so without a word to the HELO that follows: then that was its last.
    int code() const;
    const std::string& reply() const { return reply_; }

    // True where a refusal concerns this mail and its receiver, and not the server's state.
    bool is_about_the_mail() const;
    bool is_logging_in() const;
    // What went wrong may lie in the connection: its end, or a server that has had enough mail on it.
    bool may_be_about_the_connection() const;
    // What was to come when the conversation broke off, for "… while it was to answer EHLO".
    std::string expected() const;

    bool is_encrypted() const { return is_encrypted_; }
    // The server has offered encryption, and when it came to it, said no.
    bool was_refused_encryption() const { return !refusal_.empty(); }
    const std::string& refusal() const { return refusal_; }

 private:
    std::string command_;  // the verb; empty before the first one
    std::string reply_;
    bool is_reply_of_before_ = false;  // to the command before
    bool is_encrypted_ = false;
    std::string refusal_;   // of encryption
    bool is_over_ = false;  // libcurl has taken leave: what follows explains nothing
};

// The text, with a mark in place of the secret.
std::string without(const std::string& secret, std::string text);

}  // namespace callhome::service
