// A signature file whose parts a test changes one by one.
#pragma once

#include <map>
#include <string>

namespace callhome::service::tests {

class SampleFile {
 public:
    // The element `name` becomes `xml`; empty text takes it away. A name that is not there comes last.
    SampleFile& with(const std::string& name, const std::string& xml) {
        parts_[name] = xml;
        return *this;
    }
    SampleFile& with_root(const std::string& start_tag) {
        start_tag_ = start_tag;
        return *this;
    }
    SampleFile& with_prolog(const std::string& prolog) {
        prolog_ = prolog;
        return *this;
    }

    std::string text() const {
        std::string xml = prolog_ + start_tag_ + "\n";
        for (const auto& [name, part] : parts_) {
            xml += part.empty() ? "" : "  " + part + "\n";
        }
        return xml + "</diagnosticSignature>\n";
    }

 private:
    std::string prolog_ = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    std::string start_tag_ = R"(<diagnosticSignature xmlns="urn:callhome:signature:1" id="4711">)";
    std::map<std::string, std::string> parts_{
        {"name", "<name>sample</name>"},
        {"revision", "<revision>1.0</revision>"},
        {"author", "<author>Ada Marlowe</author>"},
        {"description", "<description>What it is for.</description>"},
        {"event", "<event><log>link is down</log></event>"},
        {"commands", "<commands><command>show version</command></commands>"},
        {"message", "<message><subject>News</subject><text>Look at it.</text></message>"},
    };
};

}  // namespace callhome::service::tests
