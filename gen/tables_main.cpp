// gen_tables: writes the catalogue of code sets and all its table files.

#include <CLI/CLI.hpp>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include <unistd.h>

#include "catalogue.h"
#include "table_report.h"

namespace
{

struct Options {
    std::string data;
    std::string out;
    std::string gb18030;
    std::string guide;
    std::string stamp;
    bool verbose = false;
};

void writeText(const std::string &Path, const std::string &Text)
{
    TableSet_WriteFile(Path, Text.data(), Text.size());
}

void showProgress(size_t Done, size_t All)
{
    if (Done % 100 != 0 && Done != All) return;
    std::fprintf(stderr, "\r%zu of %zu files%s", Done, All, Done == All ? "\n" : "");
}

void writeGuide(const std::string &Path, const std::vector<TableRecord> &Records)
{
    const std::vector<u8> bytes = TableSet_ReadFile(Path);
    writeText(Path, Report_ReplaceSection(std::string(bytes.begin(), bytes.end()), Report_Guide(Records)));
}

void run(const Options &O)
{
    const CodesetPlan plan = Codesets_Read(O.data);
    std::function<void(size_t, size_t)> progress;
    if (isatty(2)) progress = showProgress;
    const std::vector<TableRecord> records = TableSet_Write(plan, O.out, progress);
    writeText(O.out + "/ccsid.tbl", Catalogue_Text(plan));

    std::string lines;
    for (const TableRecord &record : records) {
        const std::string line = Report_TableLine(record);
        lines += line;
        if (O.verbose || record.shared) std::fputs(line.c_str(), stdout);
    }
    writeText(O.out + "/TABLES.txt", lines);
    writeText(O.out + "/LOSSES.txt", Report_Losses(records));
    std::fputs(Report_Summary(records).c_str(), stdout);

    if (!O.gb18030.empty()) {
        std::filesystem::create_directories(O.gb18030);
        for (const TableRecord &record : TableSet_WriteGb18030(plan, O.gb18030))
            if (O.verbose) std::fputs(Report_TableLine(record).c_str(), stdout);
    }
    if (!O.guide.empty()) writeGuide(O.guide, records);
    if (!O.stamp.empty()) writeText(O.stamp, "");
}

} // namespace

int main(int argc, char **argv)
try {
    Options options;
    CLI::App program("Writes ccsid.tbl and the conversion tables, and reads every table back.");
    program.add_option("--data", options.data, "folder of codesets.tsv and its companions")->required();
    program.add_option("--out", options.out, "folder for the files; other tables in it are removed")->required();
    program.add_option("--gb18030", options.gb18030, "folder for a catalogue with GB18030 as an encoding, for tests");
    program.add_option("--guide", options.guide, "guide whose marked section is renewed");
    program.add_option("--stamp", options.stamp, "file to write when all is done");
    program.add_flag("--verbose", options.verbose, "a line for every table");
    CLI11_PARSE(program, argc, argv);
    run(options);
    return 0;
} catch (const std::exception &problem) {
    std::fprintf(stderr, "gen_tables: %s\n", problem.what());
    return 1;
}
