#include "messages/xml_format.h"

#include <libxml/xmlwriter.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <string_view>
#include <vector>

#include "messages/text.h"

namespace callhome::service {
namespace {

// Tried in turn when a message without any section is still too long; then fields are left out.
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
        // Where not even a mask fits, the field says nothing; no field may be empty.
        if (const std::string_view value = cut_to(field.value, value_limit); !value.empty()) {
            writer.element(field.element, std::string(value));
        }
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
    if (section.is_cut) {
        writer.attribute("truncated", "true");
    }
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

// The bytes that a text takes in the document.
std::size_t weight(std::string_view text) {
    constexpr std::string_view escaped = "&<>\"";
    constexpr std::size_t more = 3;  // at least: "&lt;"
    return text.size() + more * static_cast<std::size_t>(std::ranges::count_if(text, [&](char c) {
                             return escaped.find(c) != std::string_view::npos;
                         }));
}

std::size_t weight_of_line(const std::string& line) {
    constexpr std::string_view markup = "  <line></line>\n";
    return markup.size() + weight(line);
}

std::size_t weight(const ContentGroup& group) {
    std::size_t bytes = weight(group.name);
    for (const auto& [name, value] : group.entries) {
        bytes += weight(name) + weight(value);
    }
    return bytes;
}

std::size_t weight(const ContentSection& section) {
    std::size_t bytes = 0;
    for (const ContentGroup& group : section.groups) {
        bytes += weight(group);
    }
    for (const std::string& line : section.lines) {
        bytes += weight_of_line(line);
    }
    return bytes;
}

// Takes the end of a long line away, or else the whole of it; how much lighter that is.
std::size_t shorten_last_line(std::vector<std::string>& lines, std::size_t excess) {
    constexpr std::size_t long_line = 200;  // bytes
    const std::string last = std::move(lines.back());
    lines.pop_back();
    const std::string_view rest = last.size() > excess ? cut_to(last, last.size() - excess) : "";
    if (last.size() < long_line || rest.empty()) {
        return weight_of_line(last);
    }
    lines.emplace_back(rest);
    return weight(last) - weight(rest);
}

// Takes lines and groups away from its end, `excess` bytes or more; how many.
std::size_t shorten(ContentSection& section, std::size_t excess) {
    std::size_t removed = 0;
    section.is_cut = true;
    while (removed < excess && !section.lines.empty()) {
        removed += shorten_last_line(section.lines, excess - removed);
    }
    while (removed < excess && !section.groups.empty()) {
        removed += weight(section.groups.back());
        section.groups.pop_back();
    }
    return removed;
}

// The longest section loses first, until it is no longer than the next one.
void shorten_sections(std::vector<ContentSection>& sections, std::size_t excess) {
    constexpr std::size_t share =
        4;  // of a section, so that many equal ones are not gone round line by line
    std::vector<std::size_t> weights;
    std::ranges::transform(sections, std::back_inserter(weights),
                           [](const ContentSection& section) { return weight(section); });
    for (std::size_t removed = 0; removed < excess && !sections.empty();) {
        const auto longest = std::ranges::max_element(weights);
        const auto place = longest - weights.begin();
        std::size_t next = 0;
        for (auto other = weights.begin(); other != weights.end(); ++other) {
            next = other == longest ? next : std::max(next, *other);
        }
        const std::size_t step = std::max(*longest - next, *longest / share + 1);
        const std::size_t lost =
            shorten(sections[static_cast<std::size_t>(place)], std::min(step, excess - removed));
        removed += lost;
        *longest -= std::min(lost, *longest);
        const ContentSection& section = sections[static_cast<std::size_t>(place)];
        if (section.lines.empty() && section.groups.empty()) {
            removed += weight(section.title);
            sections.erase(sections.begin() + place);
            weights.erase(longest);
        }
    }
}

// What every message has; the rest may be left out of one that is to be very small.
bool is_required(const ContentBlock& block, const ContentField& field) {
    const std::string_view element = field.element;
    return std::string_view(block.element) == "header" ? element != "requestedBy" : element == "uptime";
}

// From the end of the message; false when there is nothing left to leave out.
bool drop_last_field(std::vector<ContentBlock>& blocks) {
    for (auto block = blocks.rbegin(); block != blocks.rend(); ++block) {
        const auto field =
            std::find_if(block->fields.rbegin(), block->fields.rend(),
                         [&](const ContentField& each) { return !is_required(*block, each); });
        if (field != block->fields.rend()) {
            block->fields.erase(std::next(field).base());
            std::erase_if(blocks, [](const ContentBlock& each) { return each.fields.empty(); });
            return true;
        }
    }
    return false;
}

}  // namespace

std::string format_xml(const MessageContent& content, std::size_t size) {
    std::string document = render(content, false, no_limit);
    if (document.size() <= size) {
        return document;
    }
    MessageContent rest = content;
    while (document.size() > size && !rest.sections.empty()) {
        shorten_sections(rest.sections, document.size() - size);
        document = render(rest, true, no_limit);
    }
    std::size_t used_limit = no_limit;
    for (const std::size_t limit : value_limits) {
        if (document.size() > size) {
            used_limit = limit;
            document = render(rest, true, used_limit);
        }
    }
    while (document.size() > size && drop_last_field(rest.blocks)) {
        document = render(rest, true, used_limit);
    }
    return document;
}

}  // namespace callhome::service
