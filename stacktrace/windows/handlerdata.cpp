#include "stacktrace/windows/handlerdata.h"

#include <cstring>

namespace faults {

namespace {

// Pointer encodings of the table: the low four bits give the form, the next three what it counts
// from.
const unsigned absolutePointer = 0x00;
const unsigned uleb128 = 0x01;
const unsigned unsigned2 = 0x02;
const unsigned unsigned4 = 0x03;
const unsigned unsigned8 = 0x04;
const unsigned signed4 = 0x0b;
const unsigned signed8 = 0x0c;
const unsigned formMask = 0x0f;
const unsigned fromHere = 0x10;
const unsigned originMask = 0x70;
const unsigned indirect = 0x80;
const unsigned omitted = 0xff;

template <class Number>
Number load(const unsigned char* at)
{
    Number number;
    std::memcpy(&number, at, sizeof number); // the table aligns nothing
    return number;
}

class Reader
{
public:
    explicit Reader(const unsigned char* at) : m_at(at) {}

    const unsigned char* at() const { return m_at; }
    unsigned byte() { return *m_at++; }
    uint64_t unsignedLeb() { return leb(false); }
    int64_t signedLeb() { return static_cast<int64_t>(leb(true)); }

    /// A number in one of the forms; check with isForm first.
    uint64_t number(unsigned form)
    {
        switch (form) {
        case uleb128:
            return unsignedLeb();
        case unsigned2:
            return fixed<uint16_t>();
        case unsigned4:
            return fixed<uint32_t>();
        case signed4:
            return static_cast<uint64_t>(static_cast<int64_t>(fixed<int32_t>()));
        default:
            return fixed<uint64_t>();
        }
    }

private:
    uint64_t leb(bool isSigned)
    {
        const unsigned bitsOfNumber = 64;
        uint64_t result = 0;
        unsigned shift = 0;
        unsigned current = 0x80;
        for (; (current & 0x80) && shift < bitsOfNumber; shift += 7) {
            current = byte();
            result |= static_cast<uint64_t>(current & 0x7f) << shift;
        }
        if (isSigned && (current & 0x40) && shift < bitsOfNumber) {
            result |= ~uint64_t{0} << shift;
        }
        return result;
    }

    template <class Number>
    Number fixed()
    {
        const Number result = load<Number>(m_at);
        m_at += sizeof result;
        return result;
    }

    const unsigned char* m_at;
};

bool isForm(unsigned encoding)
{
    switch (encoding) {
    case absolutePointer:
    case uleb128:
    case unsigned2:
    case unsigned4:
    case unsigned8:
    case signed4:
    case signed8:
        return true;
    default:
        return false;
    }
}

/// Size in bytes of one entry of the table of types; 0 for an encoding that no table of types has.
size_t typeEntrySize(unsigned encoding)
{
    const unsigned origin = encoding & originMask;
    if (origin != 0 && origin != fromHere) {
        return 0;
    }
    switch (encoding & formMask) {
    case unsigned4:
    case signed4:
        return 4;
    case absolutePointer:
    case unsigned8:
    case signed8:
        return 8;
    default:
        return 0;
    }
}

struct Table
{
    const unsigned char* callSites;
    const unsigned char* actions;  // where the call sites end
    const unsigned char* typesEnd; // entries are counted back from here; null without types
    unsigned callSiteForm;
    unsigned typeEncoding;
};

/// The table's head; false when the bytes can't be one.
bool readHead(const unsigned char* data, size_t functionSize, Table& table)
{
    Reader reader(data);
    if (reader.byte() !=
        omitted) { // landing pads count from the function in everything that compilers write here
        return false;
    }
    table.typeEncoding = reader.byte();
    table.typesEnd = nullptr;
    if (table.typeEncoding != omitted) {
        if (typeEntrySize(table.typeEncoding) == 0) {
            return false;
        }
        const uint64_t distance = reader.unsignedLeb();
        table.typesEnd = reader.at() + distance;
    }
    table.callSiteForm = reader.byte();
    if (!isForm(table.callSiteForm)) {
        return false;
    }
    const uint64_t length = reader.unsignedLeb();
    const uint64_t longestCallSite =
        32; // three numbers of 8 bytes and an action; no call site is shorter than a byte
    if (length > longestCallSite * functionSize) {
        return false;
    }
    table.callSites = reader.at();
    table.actions = reader.at() + length;
    return table.typesEnd == nullptr || table.typesEnd >= table.actions;
}

const void* typeOf(const Table& table, uint64_t index)
{
    const size_t size = typeEntrySize(table.typeEncoding);
    const unsigned char* entry = table.typesEnd - index * size;
    uint64_t value = Reader(entry).number(table.typeEncoding & formMask);
    if (value == 0) {
        return nullptr;
    }
    if ((table.typeEncoding & originMask) == fromHere) {
        value += reinterpret_cast<uintptr_t>(entry);
    }
    if (table.typeEncoding & indirect) {
        value = load<uint64_t>(reinterpret_cast<const unsigned char*>(value));
    }
    return reinterpret_cast<const void*>(value);
}

/// Follows the chain of clauses that begins at the action (counted from 1).
Landing landingOfActions(const Table& table, uint64_t action, CatchTest catchTest)
{
    const unsigned char* record = table.actions + action - 1;
    for (;;) {
        Reader reader(record);
        const int64_t filter = reader.signedLeb();
        const unsigned char* link = reader.at();
        const int64_t next = reader.signedLeb();
        if (filter < 0) {
            return Landing::terminates;
        }
        if (filter > 0 && table.typesEnd != nullptr) {
            const void* type = typeOf(table, static_cast<uint64_t>(filter));
            if (type == nullptr || catchTest(type)) {
                return Landing::catches;
            }
        }
        if (next == 0) {
            return Landing::cleansUp;
        }
        record = link + next;
    }
}

} // namespace

Landing landingAt(const unsigned char* data, size_t functionSize, size_t offset,
                  CatchTest catchTest)
{
    Table table;
    if (!readHead(data, functionSize, table)) {
        return Landing::unreadable;
    }
    Reader reader(table.callSites);
    while (reader.at() < table.actions) {
        const uint64_t start = reader.number(table.callSiteForm);
        const uint64_t length = reader.number(table.callSiteForm);
        const uint64_t landingPad = reader.number(table.callSiteForm);
        const uint64_t action = reader.unsignedLeb();
        if (start > functionSize || length > functionSize - start) {
            return Landing::unreadable;
        }
        if (offset < start) {
            break; // call sites are sorted
        }
        if (offset < start + length) {
            if (landingPad == 0) {
                return Landing::passes;
            }
            return action == 0 ? Landing::cleansUp : landingOfActions(table, action, catchTest);
        }
    }
    return Landing::terminates; // a place without a call site lets no exception out
}

} // namespace faults
