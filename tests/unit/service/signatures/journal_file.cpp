#include "journal_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstring>

namespace callhome::service::tests {
namespace {

// All numbers of the format are little-endian, as this machine's are.
struct [[gnu::packed]] Header {
    char signature[8] = {'L', 'P', 'K', 'S', 'H', 'H', 'R', 'H'};
    std::uint32_t compatible_flags = 0;
    std::uint32_t incompatible_flags = 0;
    std::uint8_t state = 1;  // online
    std::uint8_t reserved[7] = {};
    std::uint8_t file_id[16] = {1};
    std::uint8_t machine_id[16] = {2};
    std::uint8_t boot_id[16] = {3};
    std::uint8_t sequence_id[16] = {4};
    std::uint64_t header_size = 208;
    std::uint64_t arena_size = 0;
    std::uint64_t data_table = 0;
    std::uint64_t data_table_size = 0;
    std::uint64_t field_table = 0;
    std::uint64_t field_table_size = 0;
    std::uint64_t last_object = 0;
    std::uint64_t objects = 0;
    std::uint64_t entries = 0;
    std::uint64_t last_sequence = 0;
    std::uint64_t first_sequence = 1;
    std::uint64_t entry_array = 0;
    std::uint64_t first_time = 0;
    std::uint64_t last_time = 0;
    std::uint64_t last_monotonic = 0;
};
static_assert(sizeof(Header) == 208);

struct [[gnu::packed]] Object {
    std::uint8_t type;
    std::uint8_t flags;
    std::uint8_t reserved[6];
    std::uint64_t size;
};

struct [[gnu::packed]] Data {
    Object object;
    std::uint64_t hash, next_hash, next_field, entry, entry_array, entries;
};

struct [[gnu::packed]] EntryItem {
    std::uint64_t data, hash;
};

struct [[gnu::packed]] Entry {
    Object object;
    std::uint64_t sequence, time, monotonic;
    std::uint8_t boot_id[16];
    std::uint64_t xor_hash;
};

constexpr std::uint8_t data_object = 1;
constexpr std::uint8_t entry_object = 3;
constexpr std::uint8_t data_table_object = 4;
constexpr std::uint8_t field_table_object = 5;
constexpr std::uint8_t entry_array_object = 6;

constexpr std::uint64_t file_size = 1U << 20U;
constexpr std::uint64_t table_size = 16 * 16;  // bytes; nothing is looked up in them
constexpr std::uint64_t most_entries = 1000;
constexpr std::uint64_t data_table_at = sizeof(Header);
constexpr std::uint64_t field_table_at = data_table_at + sizeof(Object) + table_size;
constexpr std::uint64_t entry_array_at = field_table_at + sizeof(Object) + table_size;
constexpr std::uint64_t entries_at =
    entry_array_at + sizeof(Object) + sizeof(std::uint64_t);  // a link first
constexpr std::uint64_t entry_array_size =
    entries_at - entry_array_at + most_entries * sizeof(std::uint64_t);
constexpr std::uint64_t first_time = 1'700'000'000'000'000;

std::uint64_t aligned(std::uint64_t offset) {
    return (offset + 7) / 8 * 8;
}

template <typename Value>
void put(int file, std::uint64_t offset, const Value& value) {
    ASSERT_EQ(::pwrite(file, &value, sizeof(value), static_cast<off_t>(offset)),
              static_cast<ssize_t>(sizeof(value)));
}

Header header_of(std::uint64_t entries, std::uint64_t last_object) {
    Header header;
    header.arena_size = file_size - sizeof(Header);
    header.data_table = data_table_at + sizeof(Object);
    header.data_table_size = table_size;
    header.field_table = field_table_at + sizeof(Object);
    header.field_table_size = table_size;
    header.last_object = last_object;
    header.objects = 3;
    header.entries = entries;
    header.last_sequence = entries;
    header.entry_array = entry_array_at;
    header.first_time = entries == 0 ? 0 : first_time + 1;
    header.last_time = entries == 0 ? 0 : first_time + entries;
    header.last_monotonic = entries;
    return header;
}

}  // namespace

JournalFile::JournalFile(const std::filesystem::path& folder)
    : descriptor_(::open((folder / "system.journal").c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600)),
      end_(entry_array_at + entry_array_size) {
    EXPECT_EQ(::ftruncate(descriptor_, file_size), 0);
    put(descriptor_, data_table_at, Object{data_table_object, 0, {}, sizeof(Object) + table_size});
    put(descriptor_, field_table_at, Object{field_table_object, 0, {}, sizeof(Object) + table_size});
    put(descriptor_, entry_array_at, Object{entry_array_object, 0, {}, entry_array_size});
    put(descriptor_, 0, header_of(0, entry_array_at));
}

JournalFile::~JournalFile() {
    ::close(descriptor_);
}

std::uint64_t JournalFile::put_data(const std::string& field, std::uint64_t entry) {
    const std::uint64_t at = end_;
    put(descriptor_, at, Data{{data_object, 0, {}, sizeof(Data) + field.size()}, 1, 0, 0, entry, 0, 1});
    EXPECT_EQ(::pwrite(descriptor_, field.data(), field.size(), static_cast<off_t>(at + sizeof(Data))),
              static_cast<ssize_t>(field.size()));
    end_ = aligned(at + sizeof(Data) + field.size());
    return at;
}

void JournalFile::append(const std::vector<std::string>& fields) {
    std::uint64_t entry = end_;
    for (const std::string& field : fields) {
        entry = aligned(entry + sizeof(Data) + field.size());
    }
    std::vector<EntryItem> items;
    for (const std::string& field : fields) {
        items.push_back({put_data(field, entry), 1});
    }
    ++entries_;
    put(descriptor_, entry,
        Entry{{entry_object, 0, {}, sizeof(Entry) + items.size() * sizeof(EntryItem)},
              entries_,
              first_time + entries_,
              entries_,
              {3},
              0});
    for (std::size_t item = 0; item < items.size(); ++item) {
        put(descriptor_, entry + sizeof(Entry) + item * sizeof(EntryItem), items[item]);
    }
    end_ = aligned(entry + sizeof(Entry) + items.size() * sizeof(EntryItem));
    put(descriptor_, entries_at + (entries_ - 1) * sizeof(std::uint64_t), entry);
    put(descriptor_, 0, header_of(entries_, entry));
}

}  // namespace callhome::service::tests
