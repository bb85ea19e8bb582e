/// Compiled twice: TOLVANE_BENCH_STORE is the namespace, and the folder that the tracing macros
/// come from says whether they do anything.

#include "bench/store.h"

#include <tolvane/tolvane.h>

#include <array>
#include <string_view>

namespace bench {

namespace TOLVANE_BENCH_STORE {

namespace {

using crctable = std::array<std::uint32_t, 256>;

constexpr crctable makeCrcTable()
{
    constexpr std::uint32_t polynomial = 0xEDB88320; // CRC-32's, bits reversed
    constexpr int bitsOfAByte = 8;
    crctable table{};
    for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
        std::uint32_t rest = byte;
        for (int bit = 0; bit < bitsOfAByte; ++bit) {
            rest = (rest >> 1) ^ ((rest & 1) != 0 ? polynomial : 0);
        }
        table[byte] = rest;
    }
    return table;
}

constexpr crctable remainders = makeCrcTable();

std::uint32_t checksum(const storerecord& record)
{
    std::uint32_t rest = 0xFFFFFFFF;
    for (const unsigned char byte : record.value) {
        rest = (rest >> 8) ^ remainders[(rest ^ byte) & 0xFF];
    }
    return ~rest;
}

/// FNV-1a; never 0, which stands for no key.
std::uint64_t hash(std::string_view key)
{
    std::uint64_t sum = 0xCBF29CE484222325;
    for (const char letter : key) {
        sum = (sum ^ static_cast<unsigned char>(letter)) * 0x100000001B3;
    }
    return sum | 1;
}

class store
{
public:
    explicit store(storedata& data) : m_data(data) {}

    void put(const std::string& key, unsigned char value)
    {
        TOLVANE_SCOPE(log);
        storerecord record;
        record.keyHash = hash(key);
        record.value.fill(value);
        storeplace& place = placeOf(record.keyHash);
        place.position = append(record);
        TOLVANE_LOG(log, tl_info) << "put " << key << " at " << place.position;
    }

    bool get(const std::string& key)
    {
        TOLVANE_SCOPE(log);
        const storeplace& place = find(key);
        const bool isFound = verify(m_data.log[place.position]);
        TOLVANE_LOG(log, tl_info) << "got " << key << " from " << place.position;
        return isFound;
    }

    void remove(const std::string& key)
    {
        TOLVANE_SCOPE(log);
        storeplace& place = find(key);
        storerecord record = m_data.log[place.position];
        record.isRemoved = true;
        place.position = append(record);
        TOLVANE_LOG(log, tl_info) << "removed " << key << " at " << place.position;
    }

    void restore(const std::string& key)
    {
        TOLVANE_SCOPE(log);
        storeplace& place = find(key);
        storerecord record = m_data.log[place.position];
        record.isRemoved = false;
        place.position = append(record);
        TOLVANE_LOG(log, tl_info) << "restored " << key << " at " << place.position;
    }

private:
    /// \return the record's position; the oldest one made room for it.
    std::size_t append(storerecord& record)
    {
        TOLVANE_SCOPE(log);
        record.checksum = checksum(record);
        const std::size_t position = m_data.end;
        m_data.log[position] = record;
        m_data.end = (position + 1) % m_data.log.size();
        return position;
    }

    /// \return the key's place, or the one that it gets by this.
    storeplace& placeOf(std::uint64_t keyHash)
    {
        TOLVANE_SCOPE(log);
        storeplace& place = probe(keyHash);
        place.keyHash = keyHash;
        return place;
    }

    /// The key has been put before.
    storeplace& find(const std::string& key)
    {
        TOLVANE_SCOPE(log);
        storeplace& place = probe(hash(key));
        if (place.keyHash == 0) {
            TOLVANE_LOG(log, tl_error) << "no such key: " << key;
        }
        return place;
    }

    /// Whether the record holds a value, undamaged and not removed.
    bool verify(const storerecord& record)
    {
        TOLVANE_SCOPE(log);
        const bool isSound = checksum(record) == record.checksum;
        if (!isSound) {
            TOLVANE_LOG(log, tl_error) << "damaged record";
        }
        return isSound && !record.isRemoved;
    }

    /// The key's place, or the free one where it would be.
    storeplace& probe(std::uint64_t keyHash)
    {
        std::size_t place = keyHash % storedata::indexSize;
        while (m_data.index[place].keyHash != 0 && m_data.index[place].keyHash != keyHash) {
            place = (place + 1) % storedata::indexSize;
        }
        return m_data.index[place];
    }

    storedata& m_data;
};

} // namespace

std::size_t operate(storedata& data, std::size_t operations)
{
    constexpr std::size_t kinds = 4;
    constexpr std::size_t halfOfTheKeys = storedata::keyCount / 2;

    store kept(data);
    std::size_t found = 0;
    for (std::size_t number = 0; number < operations; ++number) {
        const std::size_t turn = number / kinds;
        const std::string& key = data.keys[turn % storedata::keyCount];
        const std::string& otherKey = data.keys[(turn + halfOfTheKeys) % storedata::keyCount];
        switch (number % kinds) {
        case 0:
            kept.put(key, static_cast<unsigned char>(turn));
            break;
        case 1:
            found += static_cast<std::size_t>(kept.get(key));
            break;
        case 2:
            kept.remove(otherKey);
            break;
        default:
            kept.restore(otherKey);
        }
    }
    return found;
}

} // namespace TOLVANE_BENCH_STORE

} // namespace bench
