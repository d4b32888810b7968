// Trace files, read back.
//
// Neither format marks where records begin. A ring is read from the byte behind the newest one, once around; an
// auxiliary file from its header to its end. In both, a lap that was overwritten leaves a piece of a record, so the
// reader looks for the next eye-catcher. A lost-record mark has no eye-catcher: it is a header with nothing in it but
// the process and the time, and it is believed only where a record may begin.

#include "trace_reader.h"

#include "vela_commands.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <tuple>

namespace
{

constexpr size_t headerSize = sizeof(InfTR_TraceHeader);
constexpr size_t ringHeaderSize = sizeof(InfTR_RingHeader);
constexpr size_t auxiliaryHeaderSize = 16;
constexpr u8 eyeCatcher[4] = {0x06, 0x0A, 0x19, 0x68};
constexpr u16 firstType = 1409;
constexpr u16 lastType = 1416;
static_assert(headerSize == 56 && ringHeaderSize == 36);

// Offsets of the record's parts, from its start.
constexpr size_t entryName = 57, entryNameWidth = 30, entryLength = 88, entryText = 89;
constexpr size_t exitPoint = 56, exitName = 61, exitNameWidth = 31, exitCode = 92, exitValue = 96;
constexpr size_t midName = 61, midNameWidth = 30, midText = 94;

std::string trimmed(std::string text)
{
    while (!text.empty() && (text.back() == ' ' || text.back() == 0)) text.pop_back();
    return text;
}

u32 wordAt(const std::string &data, size_t recordOffset)
{
    u32 word = 0;
    const size_t offset = recordOffset - headerSize;
    if (offset + sizeof word <= data.size()) std::memcpy(&word, data.data() + offset, sizeof word);
    return word;
}

// The zero-terminated text at an offset of the record, at most so wide.
std::string textAt(const std::string &data, size_t recordOffset, size_t width)
{
    const size_t offset = recordOffset - headerSize;
    if (offset >= data.size()) return "";
    const std::string text = data.substr(offset, width);
    return text.substr(0, text.find('\0'));
}

void decode(Trace_Record *record)
{
    const std::string &data = record->Data;
    record->Component = record->Header.Component;
    switch (record->Header.Class) {
    case INFTR_CLASS_ENTRY:
    case INFTR_CLASS_API_ENTRY: {
        record->Function = textAt(data, entryName, entryNameWidth);
        // The length byte holds the low 8 bits; the data ends where the record was cut.
        const size_t length =
            static_cast<u8>(textAt(data, entryLength, 1).empty() ? 0 : data[entryLength - headerSize]);
        record->Text = textAt(data, entryText, length);
        break;
    }
    case INFTR_CLASS_VOID_EXIT:
    case INFTR_CLASS_ERROR_EXIT:
    case INFTR_CLASS_TYPED_EXIT:
        record->HasPoint = true;
        record->Point = wordAt(data, exitPoint);
        record->Function = textAt(data, exitName, exitNameWidth);
        record->HasCode = record->Header.Class != INFTR_CLASS_VOID_EXIT;
        if (record->HasCode)
            record->Code = wordAt(data, record->Header.Class == INFTR_CLASS_ERROR_EXIT ? exitCode : exitValue);
        break;
    case INFTR_CLASS_MID:
    case INFTR_CLASS_HEX:
        record->HasCode = true;
        record->Code = wordAt(data, headerSize);
        record->Function = textAt(data, midName, midNameWidth);
        if (record->Header.Class == INFTR_CLASS_MID) record->Text = textAt(data, midText, data.size());
        break;
    case INFTR_CLASS_ERROR:
        record->HasCode = true;
        record->Code = __builtin_bswap32(wordAt(data, headerSize)); // the message number is big-endian
        record->Point = wordAt(data, headerSize + 4);
        break;
    case INFTR_CLASS_EVENT:
    case INFTR_CLASS_EXCEPTION:
        record->HasCode = true;
        record->Code = wordAt(data, headerSize);
        break;
    }
}

bool plausible(const InfTR_TraceHeader &header)
{
    return header.DataLength <= INFTR_MAXSIZE_DATA && header.DataLength % 4 == 0 && header.RecordType >= firstType &&
           header.RecordType <= lastType && header.NanoSeconds < 1000000000u;
}

bool isLostMark(const InfTR_TraceHeader &header)
{
    static constexpr u8 none[4] = {};
    return std::memcmp(header.EyeCatcher, none, sizeof none) == 0 && header.DataLength == 0 &&
           header.RecordType == firstType && header.Class == 0 && header.Component == 0 && header.Depth == 0 &&
           header.ProcessId != 0 && header.Seconds != 0 && header.NanoSeconds < 1000000000u;
}

// Cuts a byte stream into records; returns the bytes that belong to none.
size_t readRecords(const std::string &stream, std::vector<Trace_Record> *records)
{
    size_t offset = 0;
    size_t skipped = 0;
    bool boundary = true;
    while (stream.size() - offset >= headerSize) {
        Trace_Record record;
        std::memcpy(&record.Header, stream.data() + offset, headerSize);
        const bool whole = std::memcmp(record.Header.EyeCatcher, eyeCatcher, sizeof eyeCatcher) == 0 &&
                           plausible(record.Header) && record.Header.DataLength <= stream.size() - offset - headerSize;
        record.Lost = !whole && boundary && isLostMark(record.Header);
        if (!whole && !record.Lost) {
            ++offset;
            ++skipped;
            boundary = false;
            continue;
        }
        record.Data = stream.substr(offset + headerSize, record.Header.DataLength);
        offset += headerSize + record.Header.DataLength;
        boundary = true;
        decode(&record);
        records->push_back(std::move(record));
    }
    return skipped + (stream.size() - offset);
}

// The bytes of a wrapped ring from the oldest to the newest, which ends in front of offset.
std::string unrolled(const std::string &data, size_t offset)
{
    return data.substr(offset) + data.substr(0, offset);
}

Trace_File readDump(const std::string &contents)
{
    Trace_File file;
    file.IsDump = true;
    InfTR_RingHeader ring;
    std::memcpy(&ring, contents.data(), ringHeaderSize);
    const std::string data = contents.substr(ringHeaderSize);
    if (ring.RingSize < 0 || static_cast<size_t>(ring.RingSize) != data.size() || ring.RingOffset < 0 ||
        ring.RingOffset > ring.RingSize)
        throw Vela_Failure("the dump is damaged: its header does not fit its " + std::to_string(data.size()) +
                           " bytes of data");
    file.Region = trimmed({ring.RingRegion, sizeof ring.RingRegion});
    file.Program = trimmed({ring.RingProgram, sizeof ring.RingProgram});

    // Behind the newest byte a ring that has not wrapped holds zeros alone, which are no bytes passed over.
    const auto offset = static_cast<size_t>(ring.RingOffset);
    const bool wrapped = data.find_first_not_of('\0', offset) != std::string::npos;
    file.Skipped = readRecords(wrapped ? unrolled(data, offset) : data.substr(0, offset), &file.Records);
    return file;
}

Trace_File readAuxiliary(const std::string &contents)
{
    Trace_File file;
    file.Region = trimmed(contents.substr(0, 8));
    file.Program = trimmed(contents.substr(8, 8));
    file.Skipped = readRecords(contents.substr(auxiliaryHeaderSize), &file.Records);
    if (file.Records.empty() && contents.size() > auxiliaryHeaderSize)
        throw Vela_Failure("no trace record in it: neither a ring dump nor an auxiliary trace file");
    return file;
}

i64 counterOf(const InfTR_TraceHeader &header)
{
    return static_cast<i64>(static_cast<u64>(header.CounterHigh) << 32 | header.CounterLow);
}

// The order of the merge: the clock, and within a microsecond the counter, which is one for all processes of a host.
auto placeInTime(const Trace_Record &record)
{
    return std::make_tuple(record.Header.Seconds, record.Header.NanoSeconds, counterOf(record.Header));
}

bool earlier(const Trace_Record &left, const Trace_Record &right)
{
    return placeInTime(left) < placeInTime(right);
}

// Whether both are one record, that a ring and an auxiliary file hold: these differ in the sequence number alone.
bool sameRecord(const Trace_Record &left, const Trace_Record &right)
{
    InfTR_TraceHeader one = left.Header;
    one.SequenceNumber = right.Header.SequenceNumber;
    return std::memcmp(&one, &right.Header, sizeof one) == 0 && left.Data == right.Data;
}

// Leaves one of each record that stands in several files. Its doubles have the same time, so they stand near it.
void dropDoubles(std::vector<Trace_Record> *records)
{
    std::vector<Trace_Record> kept;
    kept.reserve(records->size());
    for (Trace_Record &record : *records) {
        bool known = false;
        for (size_t at = kept.size(); at > 0 && !known && placeInTime(kept[at - 1]) == placeInTime(record); --at)
            known = sameRecord(kept[at - 1], record);
        if (!known) kept.push_back(std::move(record));
    }
    *records = std::move(kept);
}

// Gives each exit its duration, and each entry the component of its exit.
void matchCalls(std::vector<Trace_Record> *records)
{
    std::map<std::pair<u32, u32>, std::vector<size_t>> open; // by process and thread: entries still without exit
    for (size_t i = 0; i < records->size(); ++i) {
        Trace_Record &record = (*records)[i];
        auto &stack = open[{record.Header.ProcessId, record.Header.ThreadId}];
        if (Trace_IsEntry(record)) {
            stack.push_back(i);
            continue;
        }
        if (!Trace_IsExit(record)) continue;
        while (!stack.empty() && (*records)[stack.back()].Header.Depth > record.Header.Depth) stack.pop_back();
        if (stack.empty()) continue;
        Trace_Record &entry = (*records)[stack.back()];
        // An exit keeps one more character of the name than an entry.
        if (entry.Header.Depth != record.Header.Depth || entry.Function != record.Function.substr(0, entryNameWidth))
            continue;
        entry.Component = record.Header.Component;
        record.Nanoseconds = counterOf(record.Header) - counterOf(entry.Header);
        stack.pop_back();
    }
}

} // namespace

Trace_File Trace_Read(const std::string &Path, const std::string &Contents)
{
    try {
        if (Contents.size() < auxiliaryHeaderSize)
            throw Vela_Failure("too short for a trace file, " + std::to_string(Contents.size()) + " bytes");
        const bool dump = Contents.size() >= ringHeaderSize && Contents.compare(0, 8, "ERZ49RNG") == 0;
        Trace_File file = dump ? readDump(Contents) : readAuxiliary(Contents);
        file.Path = Path;
        return file;
    } catch (const Vela_Failure &failure) {
        throw Vela_Failure(Path + ": " + failure.what());
    }
}

std::vector<Trace_Record> Trace_Merge(std::vector<Trace_File> &Files)
{
    std::vector<Trace_Record> records;
    for (Trace_File &file : Files) {
        records.insert(records.end(), std::make_move_iterator(file.Records.begin()),
                       std::make_move_iterator(file.Records.end()));
        file.Records.clear();
    }
    std::stable_sort(records.begin(), records.end(), earlier);
    if (Files.size() > 1) dropDoubles(&records);
    matchCalls(&records);
    return records;
}

const char *Trace_KindName(const Trace_Record &Record)
{
    if (Record.Lost) return "lost";
    switch (Record.Header.Class) {
    case INFTR_CLASS_EVENT: return "event";
    case INFTR_CLASS_ERROR: return "error";
    case INFTR_CLASS_EXCEPTION: return "exception";
    case INFTR_CLASS_ENTRY:
    case INFTR_CLASS_API_ENTRY: return "entry";
    case INFTR_CLASS_ERROR_EXIT:
    case INFTR_CLASS_TYPED_EXIT:
    case INFTR_CLASS_VOID_EXIT: return "exit";
    case INFTR_CLASS_MID: return "mid";
    case INFTR_CLASS_HEX: return "hex";
    }
    return "record";
}

bool Trace_IsEntry(const Trace_Record &Record)
{
    return (Record.Header.Class & (INFTR_CLASS_ENTRY | INFTR_CLASS_API_ENTRY)) != 0 && !Record.Lost;
}

bool Trace_IsExit(const Trace_Record &Record)
{
    return (Record.Header.Class & (INFTR_CLASS_ERROR_EXIT | INFTR_CLASS_TYPED_EXIT | INFTR_CLASS_VOID_EXIT)) != 0 &&
           !Record.Lost;
}
