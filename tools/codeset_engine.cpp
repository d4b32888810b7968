#include "codeset_engine.h"

#include <algorithm>

#include "registry_values.h"
#include "supos_conversion.h"
#include "suppr_names.h"
#include "vela_commands.h"

namespace
{

struct Partner {
    uint32_t Host;
    uint32_t Other;
};

// By the language that a host set is for.
// clang-format off
constexpr Partner partners[] = {
    {37, 819}, {273, 819}, {277, 819}, {278, 819}, {280, 819}, {284, 819}, {285, 819}, {297, 819}, {500, 819},
    {871, 819}, {1047, 819},                                                                      // Western Europe
    {924, 923}, {1140, 923}, {1141, 923}, {1142, 923}, {1143, 923}, {1144, 923}, {1145, 923}, {1146, 923},
    {1147, 923}, {1148, 923}, {1149, 923},                                                        // and the euro sign
    {420, 1089}, {424, 916}, {870, 912}, {1025, 915}, {1026, 920}, {1112, 921}, {1122, 922},
    {930, 943}, {931, 943}, {939, 943}, {933, 949}, {935, 1381}, {937, 950},                      // two bytes
};
// clang-format on

} // namespace

CodesetCatalogue Codesets_ReadInstalled()
{
    std::string path;
    if (!Vela_RegistryGet("InstallPath", &path))
        throw Vela_Failure("no installation in the registry; `vela setup` makes one");
    return Codesets_ReadFolder(path + "/etc");
}

const Codeset &Codesets_Need(const CodesetCatalogue &Catalogue, const std::string &Name)
{
    const Codeset *const set = Codesets_Find(Catalogue, Name);
    if (set == nullptr) throw Vela_Failure("no code set " + Name + "; `vela codesets` lists them");
    return *set;
}

uint32_t Codesets_OpenConversion(const Codeset &From, const Codeset &To)
{
    const uint32_t code = SupPR_InitNames(nullptr); // no region is needed: only the installation's folders
    if (code != ERZ_OK && code != SUPPR_ERR_NO_REGION)
        throw Vela_Failure("the names of the installation cannot be set up");

    const uint32_t cd = SupOS_IcnvOpen(To.Name.c_str(), From.Name.c_str());
    if (cd == SUPOS_ICNV_FAILED)
        throw Vela_Failure("no conversion from " + From.Name + " to " + To.Name + "; `vela codesets " + From.Name +
                           "` tells its partners");
    return cd;
}

const Codeset *Codesets_PartnerOf(const CodesetCatalogue &Catalogue, const Codeset &Host)
{
    const auto row =
        std::find_if(std::begin(partners), std::end(partners), [&](const Partner &p) { return p.Host == Host.Ccsid; });
    return row == std::end(partners) ? nullptr : Codesets_Find(Catalogue, std::to_string(row->Other));
}
