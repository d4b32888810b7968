// vela trace: shows what a process recorded.
//
// One line a record, indented by the depth of the call: time, thread, component, then the entry with its arguments or
// the exit with its point and code. Several files merge by time; what stands in a dump and in an auxiliary file too is
// one record.

#include "super_messages.h"
#include "trace_components.h"
#include "trace_reader.h"
#include "vela_commands.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <iostream>
#include <map>

namespace
{

struct Options {
    std::vector<std::string> Files;
    bool Json = false;
    bool Summary = false;
    bool Utc = false;
};

std::string formatted(const char *form, auto... values)
{
    char text[256];
    std::snprintf(text, sizeof text, form, values...);
    return text;
}

std::string timeOf(const InfTR_TraceHeader &header, bool utc)
{
    const time_t seconds = header.Seconds;
    struct tm parts {
    };
    utc ? gmtime_r(&seconds, &parts) : localtime_r(&seconds, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%H:%M:%S", &parts);
    return text + formatted(".%06u", header.NanoSeconds / 1000u);
}

std::string duration(i64 nanoseconds)
{
    if (nanoseconds < 0) return "";
    if (nanoseconds < 10000) return formatted("%lld ns", static_cast<long long>(nanoseconds));
    if (nanoseconds < 10000000) return formatted("%.1f us", static_cast<double>(nanoseconds) / 1e3);
    return formatted("%.1f ms", static_cast<double>(nanoseconds) / 1e6);
}

// Printable characters of a block, for events and hex records.
std::string hexOf(const std::string &data, size_t from, size_t most)
{
    std::string out;
    for (size_t i = from; i < data.size() && i < from + most; ++i)
        out += formatted(i == from ? "%02X" : " %02X", static_cast<u8>(data[i]));
    return data.size() > from + most ? out + " ..." : out;
}

// The parts of a hex record's data.
constexpr size_t hexOffset = 44, hexLength = 48, hexBytes = 50;

template <typename Number>
Number numberAt(const std::string &data, size_t at)
{
    Number number = 0;
    if (at + sizeof number <= data.size()) std::memcpy(&number, data.data() + at, sizeof number);
    return number;
}

// The bytes of a hex record's chunk, as many as most.
std::string hexChunk(const std::string &data, size_t most)
{
    return hexOf(data.substr(0, hexBytes + numberAt<u16>(data, hexLength)), hexBytes, most);
}

std::string what(const Trace_Record &record)
{
    const std::string function = Vela_Printable(record.Function);
    switch (record.Header.Class) {
    case INFTR_CLASS_ENTRY:
    case INFTR_CLASS_API_ENTRY: return Vela_Paint("1", "> " + function) + " " + Vela_Printable(record.Text);
    case INFTR_CLASS_VOID_EXIT: return "< " + function + " point " + std::to_string(record.Point);
    case INFTR_CLASS_ERROR_EXIT:
        return "< " + function + " point " + std::to_string(record.Point) + ", code " +
               (record.Code == 0 ? "0" : Vela_Paint("31", formatted("0x%X", record.Code)));
    case INFTR_CLASS_TYPED_EXIT:
        return "< " + function + " point " + std::to_string(record.Point) + formatted(", value 0x%X", record.Code);
    case INFTR_CLASS_MID: return formatted("= mid %u ", record.Code) + function + " " + Vela_Printable(record.Text);
    case INFTR_CLASS_HEX:
        return formatted("= hex %u ", record.Code) + function +
               formatted(" at %u: ", numberAt<u32>(record.Data, hexOffset)) + hexChunk(record.Data, 16);
    case INFTR_CLASS_ERROR:
        return Vela_Paint("31", formatted("! message ERZ%6.6u%c/%.4d (0x%08X)",
                                          SUPER_MSG_SET(record.Code) * 1000 + SUPER_MSG_DISPLAY_NUMBER(record.Code),
                                          SUPER_MSG_LETTER(record.Code), static_cast<int>(record.Point), record.Code));
    case INFTR_CLASS_EVENT: return formatted("= event %u ", record.Code) + hexOf(record.Data, 4, 16);
    case INFTR_CLASS_EXCEPTION: return formatted("! exception 0x%X ", record.Code) + hexOf(record.Data, 4, 16);
    }
    if (record.Lost) return Vela_Paint("31", "! a record was lost here");
    return formatted("= class 0x%X, ", record.Header.Class) + std::to_string(record.Data.size()) + " bytes";
}

void printLine(const Trace_Record &record, const Options &options, bool manyProcesses)
{
    const InfTR_TraceHeader &header = record.Header;
    std::cout << timeOf(header, options.Utc);
    if (manyProcesses) std::cout << formatted(" %7u", header.ProcessId);
    std::cout << formatted(" %3u %-5s ", header.ThreadId, Trace_ComponentName(record.Component).c_str());
    // An entry of depth 1 stands at the left border.
    const unsigned depth = header.Depth > 0 && !record.Lost ? header.Depth - 1u : 0u;
    std::cout << std::string(std::min(depth, 40u) * 2, ' ') << what(record);
    const std::string took = duration(record.Nanoseconds);
    if (!took.empty()) std::cout << Vela_Paint("2", "  " + took);
    std::cout << "\n";
}

nlohmann::ordered_json asJson(const Trace_Record &record)
{
    const InfTR_TraceHeader &header = record.Header;
    nlohmann::ordered_json row;
    row["kind"] = Trace_KindName(record);
    row["seconds"] = header.Seconds;
    row["nanoseconds"] = header.NanoSeconds;
    row["counter"] = static_cast<u64>(header.CounterHigh) << 32 | header.CounterLow;
    row["process"] = header.ProcessId;
    row["thread"] = header.ThreadId;
    row["component"] = record.Component;
    row["component_name"] = Trace_ComponentName(record.Component);
    row["depth"] = header.Depth;
    row["class"] = header.Class;
    row["type"] = header.RecordType;
    row["sequence"] = header.SequenceNumber;
    if (!record.Function.empty()) row["function"] = Vela_Printable(record.Function);
    if (Trace_IsEntry(record) || header.Class == INFTR_CLASS_MID) row["text"] = Vela_Printable(record.Text);
    if (record.HasPoint) row["point"] = record.Point;
    if (header.Class == INFTR_CLASS_ERROR) {
        row["message"] = record.Code;
        row["msn"] = static_cast<i32>(record.Point);
    } else if (record.HasCode) {
        row[header.Class == INFTR_CLASS_ERROR_EXIT   ? "code"
            : header.Class == INFTR_CLASS_TYPED_EXIT ? "value"
                                                     : "id"] = record.Code;
    }
    if (record.Nanoseconds >= 0) row["elapsed_ns"] = record.Nanoseconds;
    if (header.Class == INFTR_CLASS_EVENT || header.Class == INFTR_CLASS_EXCEPTION)
        row["data"] = hexOf(record.Data, 4, record.Data.size());
    if (header.Class == INFTR_CLASS_HEX) {
        row["offset"] = numberAt<u32>(record.Data, hexOffset);
        row["data"] = hexChunk(record.Data, record.Data.size());
    }
    return row;
}

struct Total {
    unsigned long Calls = 0;
    i64 Timed = 0; // calls whose entry is in the files too
    i64 Nanoseconds = 0;
    i64 Longest = 0;
    unsigned long Failures = 0;
};

void printSummary(const std::vector<Trace_Record> &records)
{
    std::map<std::string, Total> totals;
    unsigned long lost = 0, errors = 0;
    for (const Trace_Record &record : records) {
        if (record.Lost) ++lost;
        if (record.Header.Class == INFTR_CLASS_ERROR) ++errors;
        if (!Trace_IsExit(record)) continue;
        Total &total = totals[Vela_Printable(record.Function)];
        ++total.Calls;
        if (record.Header.Class == INFTR_CLASS_ERROR_EXIT && record.Code != 0) ++total.Failures;
        if (record.Nanoseconds < 0) continue;
        ++total.Timed;
        total.Nanoseconds += record.Nanoseconds;
        total.Longest = std::max(total.Longest, record.Nanoseconds);
    }

    std::vector<std::pair<std::string, Total>> rows(totals.begin(), totals.end());
    std::stable_sort(rows.begin(), rows.end(),
                     [](const auto &a, const auto &b) { return a.second.Nanoseconds > b.second.Nanoseconds; });
    std::cout << Vela_Paint("1", formatted("%-32s %8s %8s %12s %12s %12s", "function", "calls", "failed", "total",
                                           "mean", "longest"))
              << "\n";
    for (const auto &[name, total] : rows)
        std::cout << formatted("%-32s %8lu %8lu %12s %12s %12s", name.c_str(), total.Calls, total.Failures,
                               total.Timed == 0 ? "-" : duration(total.Nanoseconds).c_str(),
                               total.Timed == 0 ? "-" : duration(total.Nanoseconds / total.Timed).c_str(),
                               total.Timed == 0 ? "-" : duration(total.Longest).c_str())
                  << "\n";
    std::cout << records.size() << " records, " << errors << " messages logged, " << lost << " records lost\n";
}

void show(const Options &options)
{
    std::vector<Trace_File> files;
    for (const std::string &path : options.Files) files.push_back(Trace_Read(path, Vela_ReadFile(path)));

    nlohmann::ordered_json document;
    for (const Trace_File &file : files) {
        if (options.Json) {
            document["files"].push_back({{"path", Vela_Printable(file.Path)},
                                         {"kind", file.IsDump ? "ring dump" : "auxiliary file"},
                                         {"region", Vela_Printable(file.Region)},
                                         {"program", Vela_Printable(file.Program)},
                                         {"records", file.Records.size()},
                                         {"skipped_bytes", file.Skipped}});
            continue;
        }
        std::cout << "# " << file.Path << ": " << (file.IsDump ? "ring dump" : "auxiliary file") << " of program "
                  << Vela_Printable(file.Program) << ", region "
                  << (file.Region.empty() ? "(none)" : Vela_Printable(file.Region)) << ", " << file.Records.size()
                  << " records";
        if (file.Skipped != 0) std::cout << ", " << file.Skipped << " bytes of overwritten records passed over";
        std::cout << "\n";
    }

    const std::vector<Trace_Record> records = Trace_Merge(files);
    if (options.Json) {
        document["records"] = nlohmann::ordered_json::array();
        for (const Trace_Record &record : records) document["records"].push_back(asJson(record));
        std::cout << document.dump(1) << "\n";
        return;
    }
    if (options.Summary) return printSummary(records);
    bool manyProcesses = false;
    for (const Trace_Record &record : records)
        manyProcesses |= record.Header.ProcessId != records.front().Header.ProcessId;
    for (const Trace_Record &record : records) printLine(record, options, manyProcesses);
}

} // namespace

void Vela_AddTrace(CLI::App &Program)
{
    CLI::App *const group = Vela_AddGroup(Program, "trace", "Read trace files");
    static Options options;
    CLI::App *const command = group->add_subcommand("show", "Show the records of ring dumps and auxiliary files");
    command->add_option("file", options.Files, "Trace files; several merge by time, a record in two of them shows once")
        ->required();
    CLI::Option *const json = command->add_flag("--json", options.Json, "Print one JSON document");
    command->add_flag("--summary", options.Summary, "Print calls and time per function")->excludes(json);
    command->add_flag("--utc", options.Utc, "Print times in UTC instead of the local zone");
    command->callback([] { show(options); });
}
