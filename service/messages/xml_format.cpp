#include "messages/xml_format.h"

#include <libxml/xmlwriter.h>

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <new>

#include "messages/text.h"

namespace callhome::service {
namespace {

// Tried in turn when a message without any section is still too long.
constexpr std::array<std::size_t, 4> value_limits{1024, 256, 64, 16};
constexpr std::size_t no_limit = std::numeric_limits<std::size_t>::max();

const xmlChar* xml(const char* text) {
    return reinterpret_cast<const xmlChar*>(text);
}

// Writes one document into memory.
class Writer {
 public:
    Writer() : buffer_(xmlBufferCreate(), &xmlBufferFree), writer_(nullptr, &xmlFreeTextWriter) {
        if (buffer_ != nullptr) {
            writer_.reset(xmlNewTextWriterMemory(buffer_.get(), 0));
        }
        if (writer_ == nullptr) {
            throw std::bad_alloc();
        }
        check(xmlTextWriterSetIndent(writer_.get(), 1));
        check(xmlTextWriterStartDocument(writer_.get(), nullptr, "UTF-8", nullptr));
    }

    void start(const char* element) { check(xmlTextWriterStartElement(writer_.get(), xml(element))); }
    void end() { check(xmlTextWriterEndElement(writer_.get())); }
    void attribute(const char* name, const std::string& value) {
        check(xmlTextWriterWriteAttribute(writer_.get(), xml(name), xml(value.c_str())));
    }
    void text(const std::string& value) {
        check(xmlTextWriterWriteString(writer_.get(), xml(value.c_str())));
    }
    void element(const char* name, const std::string& value) {
        start(name);
        text(value);
        end();
    }
    std::string finish() {
        check(xmlTextWriterEndDocument(writer_.get()));
        check(xmlTextWriterFlush(writer_.get()));
        const auto* bytes = reinterpret_cast<const char*>(xmlBufferContent(buffer_.get()));
        return {bytes, static_cast<std::size_t>(xmlBufferLength(buffer_.get()))};
    }

 private:
    // The names and texts are known to be sound: the writer fails only when memory runs out.
    static void check(int result) {
        if (result < 0) {
            throw std::bad_alloc();
        }
    }

    std::unique_ptr<xmlBuffer, decltype(&xmlBufferFree)> buffer_;
    std::unique_ptr<xmlTextWriter, decltype(&xmlFreeTextWriter)> writer_;
};

void write_block(Writer& writer, const ContentBlock& block, std::size_t value_limit) {
    if (!block.may_be_cut) {
        value_limit = no_limit;
    }
    writer.start(block.element);
    for (const ContentField& field : block.fields) {
        writer.element(field.element, std::string(cut_to(field.value, value_limit)));
    }
    writer.end();
}

void write_group(Writer& writer, const ContentGroup& group) {
    writer.start("group");
    if (!group.name.empty()) {
        writer.attribute("name", group.name);
    }
    for (const auto& [name, value] : group.entries) {
        writer.start("entry");
        writer.attribute("name", name);
        writer.text(value);
        writer.end();
    }
    writer.end();
}

void write_section(Writer& writer, const ContentSection& section) {
    writer.start("section");
    writer.attribute("id", section.id);
    writer.attribute("title", section.title);
    for (const ContentGroup& group : section.groups) {
        write_group(writer, group);
    }
    for (const std::string& line : section.lines) {
        writer.element("line", line);
    }
    writer.end();
}

std::string render(const MessageContent& content, bool truncated, std::size_t value_limit) {
    Writer writer;
    writer.start("callHomeMessage");
    writer.attribute("xmlns", message_namespace);
    writer.attribute("truncated", truncated ? "true" : "false");
    for (const ContentBlock& block : content.blocks) {
        write_block(writer, block, value_limit);
    }
    for (const ContentSection& section : content.sections) {
        write_section(writer, section);
    }
    writer.end();
    return writer.finish();
}

std::size_t weight(const ContentSection& section) {
    std::size_t bytes = 0;
    for (const ContentGroup& group : section.groups) {
        bytes += group.name.size();
        for (const auto& [name, value] : group.entries) {
            bytes += name.size() + value.size();
        }
    }
    for (const std::string& line : section.lines) {
        bytes += line.size();
    }
    return bytes;
}

void drop_longest_section(MessageContent& content) {
    content.sections.erase(std::max_element(
        content.sections.begin(), content.sections.end(),
        [](const ContentSection& a, const ContentSection& b) { return weight(a) < weight(b); }));
}

}  // namespace

std::string format_xml(const MessageContent& content, std::size_t size) {
    std::string document = render(content, false, no_limit);
    if (document.size() <= size) {
        return document;
    }
    MessageContent rest = content;
    while (document.size() > size && !rest.sections.empty()) {
        drop_longest_section(rest);
        document = render(rest, true, no_limit);
    }
    for (const std::size_t limit : value_limits) {
        if (document.size() > size) {
            document = render(rest, true, limit);
        }
    }
    return document;
}

}  // namespace callhome::service
