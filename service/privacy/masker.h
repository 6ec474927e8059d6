// Takes out of the texts of a message what its readers are not to see.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "privacy/secret_finder.h"

namespace callhome::service {

// For one message. The same secret has the same mask in all its texts, different ones have different masks;
// which stands for which goes with this object. Texts are UTF-8, and so is what becomes of them.
class Masker {
 public:
    Masker(const Privacy& privacy, const KnownNames& names);
    // With a finder that other messages have, too.
    explicit Masker(std::shared_ptr<SecretFinder> finder);
    ~Masker();

    Masker(const Masker&) = delete;
    Masker& operator=(const Masker&) = delete;

    // Line by line. A secret of several lines becomes one mask.
    std::string masked(std::string_view text);

    // The same, of lines without their ends. There may be fewer of them afterwards.
    void mask_lines(std::vector<std::string>& lines);

    // For a value that is known to be a host name or serial number: its mask where the level asks for one.
    std::string masked_host_name(const std::string& value);
    std::string masked_serial_number(const std::string& value);

    // Once all texts have been masked: takes the secrets of each out of the others too, where they stand by
    // themselves and nothing tells what they are.
    std::string without_known(std::string text);

 private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace callhome::service
