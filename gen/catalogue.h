#ifndef GEN_CATALOGUE_H
#define GEN_CATALOGUE_H

// The text of ccsid.tbl.

#include <string>

#include "codesets.h"

// The catalogue that is delivered.
std::string Catalogue_Text(const CodesetPlan &Plan);

// The same with 1381 as GB18030 under base number 1392: for tests of that encoding.
std::string Catalogue_TextGb18030(const CodesetPlan &Plan);

constexpr u32 CATALOGUE_GB18030_BASE = 1392;

#endif
