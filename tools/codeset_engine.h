#ifndef CODESET_ENGINE_H
#define CODESET_ENGINE_H

// Conversions of the library for the commands: by any spelling of a code set's name, failures as Vela_Failure.

#include "codeset_catalogue.h"

// The catalogue of the registry's installation, which is the one that the library reads.
CodesetCatalogue Codesets_ReadInstalled();

// A set of the catalogue by one of its names.
const Codeset &Codesets_Need(const CodesetCatalogue &Catalogue, const std::string &Name);

// An open conversion; SupOS_IcnvClose closes it.
uint32_t Codesets_OpenConversion(const Codeset &From, const Codeset &To);

// The PC or ISO set in which the text of a host set is usual on this side of the line; nullptr where none is.
const Codeset *Codesets_PartnerOf(const CodesetCatalogue &Catalogue, const Codeset &Host);

#endif
