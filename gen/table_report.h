#ifndef GEN_TABLE_REPORT_H
#define GEN_TABLE_REPORT_H

// What a run of the generator tells people.

#include <string>

#include "table_set.h"

// One line: names, layout, characters, rows, losses, false characters.
std::string Report_TableLine(const TableRecord &Record);

// One line a group of files.
std::string Report_Summary(const std::vector<TableRecord> &Records);

// Every character that a table lost, by table.
std::string Report_Losses(const std::vector<TableRecord> &Records);

// The part of the conversion guide that is made from a run: files by group, and tables with shared rows.
std::string Report_Guide(const std::vector<TableRecord> &Records);

// Puts Section between the marks of a guide's text; throws GenError when it has no marks.
std::string Report_ReplaceSection(const std::string &Guide, const std::string &Section);

#endif
