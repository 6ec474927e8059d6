#include "delivery/smtp_conversation.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace callhome::service {
namespace {

constexpr std::size_t longest_reply = 400;  // bytes of a server's words that are kept
constexpr std::size_t code_digits = 3;
constexpr int first_failure = 400;
constexpr int closing = 421;
constexpr std::string_view second_greeting = "HELO";
constexpr std::string_view content_command = "content";
constexpr std::string_view encryption_command = "STARTTLS";
constexpr std::string_view login_command = "AUTH";
constexpr std::string_view first_of_mail = "MAIL";
constexpr std::string_view farewell = "QUIT";
constexpr std::string_view mark = "<secret>";

// Whatever else libcurl sends is a part of a login.
constexpr std::array<std::string_view, 7> verbs{
    "EHLO", "HELO", encryption_command, login_command, first_of_mail, "RCPT", "DATA"};

}  // namespace

void Conversation::take_command(std::string_view bytes) {
    const std::string_view verb = bytes.substr(0, bytes.find_first_of(" \r\n"));
    if (is_over_) {
        return;
    }
    if (verb == farewell) {
        is_over_ = true;
        return;
    }
    if (std::ranges::find(verbs, verb) != verbs.end()) {
        // What follows a server's consent to encrypt is said encrypted.
        is_encrypted_ = is_encrypted_ || (command_ == encryption_command && code() < first_failure);
        command_ = verb;
    }
    is_reply_of_before_ = verb == second_greeting && code() == closing;
    if (!is_reply_of_before_) {
        reply_.clear();
    }
}

void Conversation::take_content() {
    if (!is_over_ && command_ != content_command) {
        command_ = content_command;
        reply_.clear();
    }
}

void Conversation::take_reply(std::string_view bytes) {
    if (is_over_ || reply_.size() >= longest_reply) {
        return;
    }
    if (is_reply_of_before_) {
        reply_.clear();
        is_reply_of_before_ = false;
    }
    reply_.append(bytes.substr(0, longest_reply));
    if (command_ == encryption_command && code() >= first_failure) {
        refusal_ = reply_;
    }
}

int Conversation::code() const {
    int value = 0;
    std::from_chars(reply_.data(), reply_.data() + std::min(reply_.size(), code_digits), value);
    return value;
}

bool Conversation::is_about_the_mail() const {
    constexpr std::array<std::string_view, 4> of_the_mail{first_of_mail, "RCPT", "DATA", content_command};
    return std::ranges::find(of_the_mail, command_) != of_the_mail.end();
}

bool Conversation::is_logging_in() const {
    return command_ == login_command;
}

bool Conversation::may_be_about_the_connection() const {
    return code() < first_failure || code() == closing || command_ == first_of_mail;
}

std::string Conversation::expected() const {
    if (command_.empty()) {
        return "it was to greet";
    }
    if (command_ == content_command) {
        return "it was to take the mail";
    }
    const bool consents = command_ == encryption_command && code() != 0 && code() < first_failure;
    return consents ? "encryption was to begin" : "it was to answer " + command_;
}

std::string without(const std::string& secret, std::string text) {
    for (std::size_t at = 0; !secret.empty() && (at = text.find(secret, at)) != std::string::npos;
         at += mark.size()) {
        text.replace(at, secret.size(), mark);
    }
    return text;
}

}  // namespace callhome::service
