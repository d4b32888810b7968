#include "compose.h"

#include <algorithm>
#include <set>

namespace
{

constexpr u32 FIRST_NON_ASCII = 0x80;

u32 familyForm(const ComposeTarget &Target, u16 Character)
{
    if (Target.family.empty()) return CHARMAP_NONE;
    for (const Equivalent &e : Target.plan->equivalents)
        if (e.scope == Target.family && e.first == Character && Target.map->from[e.second] != CHARMAP_NONE)
            return Target.map->from[e.second];
    return CHARMAP_NONE;
}

u32 standIn(const ComposeTarget &Target, u16 Character)
{
    const char *const scope = Target.singleByte ? "single" : "double";
    for (const Equivalent &e : Target.plan->equivalents) {
        const bool oneWay = Target.singleByte && e.scope == "single>";
        if (e.scope != scope && !oneWay) continue;
        if (e.first == Character && Target.map->from[e.second] != CHARMAP_NONE) return Target.map->from[e.second];
        if (!oneWay && e.second == Character && Target.map->from[e.first] != CHARMAP_NONE)
            return Target.map->from[e.first];
    }
    return CHARMAP_NONE;
}

void readyNfkc(ComposeTarget &Target)
{
    if (Target.nfkcReady) return;
    Target.nfkcReady = true;
    std::set<u16> own; // ascending, so the first of a form is the lowest; no fallbacks: a superscript is no digit
    for (const auto &[code, character] : Target.map->to)
        if (character >= FIRST_NON_ASCII && Target.map->from[character] != CHARMAP_NONE) own.insert(character);
    for (const u16 character : own) Target.nfkc.emplace(Charmap_Nfkc(character), character);
}

u32 compatible(ComposeTarget &Target, u16 Character)
{
    if (!Target.singleByte || Character < FIRST_NON_ASCII) return CHARMAP_NONE;
    const std::u16string form = Charmap_Nfkc(Character);
    // A full-width letter or digit has the form of its ASCII twin, which is also that of an ordinal or superscript.
    if (std::all_of(form.begin(), form.end(), [](char16_t unit) { return unit < FIRST_NON_ASCII; }))
        return CHARMAP_NONE;
    readyNfkc(Target);
    const auto found = Target.nfkc.find(form);
    return found == Target.nfkc.end() ? CHARMAP_NONE : Target.map->from[found->second];
}

u32 search(ComposeTarget &Target, u16 Character)
{
    if (const u32 code = familyForm(Target, Character); code != CHARMAP_NONE) return code;
    if (const u32 code = Target.map->from[Character]; code != CHARMAP_NONE) return code;
    if (const u32 code = standIn(Target, Character); code != CHARMAP_NONE) return code;
    return compatible(Target, Character);
}

} // namespace

ComposeTarget Compose_Target(const CodesetPlan &Plan, const Charmap &Map, bool SingleByte, const std::string &Family)
{
    return {&Plan, &Map, SingleByte, Family, {}, {}, false};
}

u32 Compose_Code(ComposeTarget &Target, u16 Character)
{
    const auto known = Target.known.find(Character);
    if (known != Target.known.end()) return known->second;
    const u32 code = search(Target, Character);
    Target.known.emplace(Character, code);
    return code;
}
