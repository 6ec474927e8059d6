#include "messages/content_privacy.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace callhome::service {
namespace {

constexpr std::string_view contact = "contact";
constexpr std::string_view header = "header";
constexpr std::string_view masked_domain = "masked.invalid";  // no host ever has such a name: RFC 6761, 6.4

// Of the header, what people have named. The rest are identifiers, and a host could be called "test".
constexpr std::array<std::string_view, 2> named_by_people{"profile", "requestedBy"};

bool is_text(const ContentBlock& block, const ContentField& field) {
    return block.element != contact &&
           (block.element != header ||
            std::ranges::find(named_by_people, field.element) != named_by_people.end());
}

std::string masked_field(const ContentField& field, Masker& masker) {
    const std::string_view element = field.element;
    if (element == "hostName") {
        return masker.masked_host_name(field.value);
    }
    return element == "serialNumber" ? masker.masked_serial_number(field.value)
                                     : masker.masked(field.value);
}

void mask_section(ContentSection& section, Masker& masker) {
    section.title = masker.masked(section.title);
    for (ContentGroup& group : section.groups) {
        group.name = masker.masked(group.name);
        for (auto& [name, value] : group.entries) {
            value = masker.masked(value);
        }
    }
    masker.mask_lines(section.lines);
}

void mask_all(MessageContent& content, Masker& masker) {
    content.subject = masker.masked(content.subject);
    for (ContentBlock& block : content.blocks) {
        for (ContentField& field : block.fields) {
            if (is_text(block, field)) {
                field.value = masked_field(field, masker);
            }
        }
    }
    for (ContentSection& section : content.sections) {
        mask_section(section, masker);
    }
}

void remove_known(MessageContent& content, Masker& masker) {
    const auto remove = [&](std::string& text) { text = masker.without_known(std::move(text)); };
    remove(content.subject);
    for (ContentBlock& block : content.blocks) {
        for (ContentField& field : block.fields) {
            if (is_text(block, field)) {
                remove(field.value);
            }
        }
    }
    for (ContentSection& section : content.sections) {
        remove(section.title);
        for (ContentGroup& group : section.groups) {
            remove(group.name);
            for (auto& [name, value] : group.entries) {
                remove(value);
            }
        }
        std::ranges::for_each(section.lines, remove);
    }
}

}  // namespace

void mask_content(MessageContent& content, Masker& masker) {
    mask_all(content, masker);
    remove_known(content, masker);
}

MessageStamp masked_stamp(const MessageStamp& stamp, const Privacy& privacy) {
    const std::size_t sign = stamp.id.find('@');
    if (sign == std::string::npos) {
        return stamp;
    }
    const std::string_view id = stamp.id;
    return {std::string(id.substr(0, sign + 1)).append(domain_to_tell(id.substr(sign + 1), privacy)),
            stamp.time};
}

std::string_view domain_to_tell(std::string_view name, const Privacy& privacy) {
    return privacy.host_name ? masked_domain : name;
}

}  // namespace callhome::service
