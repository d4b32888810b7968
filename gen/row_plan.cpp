#include "row_plan.h"

#include <algorithm>
#include <map>

namespace
{

enum class Step { Absorb, Fold, Drop };

struct Choice {
    u64 cost;
    Step step;
    size_t a;
    size_t b;
};

u32 liveCells(const RowGroup &Group)
{
    return static_cast<u32>(
        std::count_if(Group.owner.begin(), Group.owner.end(), [](i16 owner) { return owner >= 0; }));
}

u64 totalWeight(const RowGroup &Group)
{
    u64 sum = 0;
    for (u32 s = 0; s < 256; ++s)
        if (Group.owner[s] >= 0) sum += Group.weight[s];
    return sum;
}

bool unicodeRowFolds(u8 First)
{
    return First == 0x2E || First == 0x2F || First == 0x32 || First == 0x33 || (First >= 0x34 && First <= 0x9F) ||
           First == 0xF9 || First == 0xFA;
}

bool folds(const RowGroup &Group, bool FromUnicode)
{
    if (Group.isUnmapped) return false;
    return std::all_of(Group.firsts.begin(), Group.firsts.end(),
                       [&](u8 first) { return FromUnicode ? unicodeRowFolds(first) : first != 0; });
}

u64 foldCost(const RowGroup &A, const RowGroup &B, bool FromUnicode)
{
    u64 lost = 0;
    for (u32 s = 0; s < 256; ++s) {
        const bool inA = A.owner[s] != ROW_FREE;
        const bool inB = B.owner[s] != ROW_FREE;
        if (!inA || !inB) continue;
        if (A.owner[s] >= 0) lost += A.weight[s];
        if (B.owner[s] >= 0) lost += B.weight[s];
    }
    if (!FromUnicode) return lost + 1;
    return lost + u64{liveCells(A)} * B.firsts.size() + u64{liveCells(B)} * A.firsts.size();
}

std::vector<RowGroup> groupsOf(const std::vector<RowCell> &Cells)
{
    std::map<u8, RowGroup> byFirst;
    for (const RowCell &cell : Cells) {
        auto [at, isNew] = byFirst.try_emplace(cell.first);
        RowGroup &group = at->second;
        if (isNew) {
            group.firsts = {cell.first};
            group.owner.fill(ROW_FREE);
            group.weight.fill(0);
            group.isUnmapped = false;
        }
        group.owner[cell.second] = cell.first;
        group.weight[cell.second] = Rows_Weight(cell.character);
    }
    std::vector<RowGroup> groups;
    groups.reserve(byFirst.size());
    for (auto &[first, group] : byFirst) groups.push_back(std::move(group));
    return groups;
}

struct Planner {
    bool fromUnicode;
    bool needUnmapped; // somebody has to name a row without characters
    bool absorbed;
    std::vector<RowGroup> groups;
};

// Steps are looked at in the order absorb, fold, drop and by first byte; a later one wins only by costing less.
Choice cheapest(const Planner &P)
{
    Choice best{~u64{0}, Step::Drop, 0, 0};
    const auto offer = [&](u64 Cost, Step What, size_t A, size_t B) {
        if (Cost < best.cost) best = {Cost, What, A, B};
    };
    const size_t count = P.groups.size();
    if (!P.fromUnicode && P.needUnmapped && !P.absorbed)
        for (size_t i = 0; i < count; ++i)
            if (P.groups[i].firsts[0] != 0) offer(liveCells(P.groups[i]), Step::Absorb, i, 0);
    for (size_t i = 0; i < count; ++i) {
        if (!folds(P.groups[i], P.fromUnicode)) continue;
        for (size_t k = i + 1; k < count; ++k)
            if (folds(P.groups[k], P.fromUnicode))
                offer(foldCost(P.groups[i], P.groups[k], P.fromUnicode), Step::Fold, i, k);
    }
    for (size_t i = 0; i < count; ++i)
        if (P.groups[i].firsts[0] != 0 && !P.groups[i].isUnmapped) offer(totalWeight(P.groups[i]), Step::Drop, i, 0);
    return best;
}

void fold(Planner &P, size_t A, size_t B)
{
    RowGroup &a = P.groups[A];
    const RowGroup &b = P.groups[B];
    for (u32 s = 0; s < 256; ++s) {
        if (b.owner[s] == ROW_FREE) continue;
        if (a.owner[s] == ROW_FREE) {
            a.owner[s] = b.owner[s];
            a.weight[s] = b.weight[s];
        } else {
            a.owner[s] = ROW_DEAD;
        }
    }
    a.firsts.insert(a.firsts.end(), b.firsts.begin(), b.firsts.end());
    std::sort(a.firsts.begin(), a.firsts.end());
    P.groups.erase(P.groups.begin() + static_cast<std::ptrdiff_t>(B));
}

void take(Planner &P, const Choice &Chosen)
{
    switch (Chosen.step) {
    case Step::Absorb:
        P.groups[Chosen.a].isUnmapped = true;
        P.absorbed = true;
        break;
    case Step::Fold: fold(P, Chosen.a, Chosen.b); break;
    case Step::Drop:
        P.groups.erase(P.groups.begin() + static_cast<std::ptrdiff_t>(Chosen.a));
        P.needUnmapped = true;
        break;
    }
}

} // namespace

u32 Rows_Weight(u16 Character)
{
    if (Character >= 0xE000 && Character <= 0xF8FF) return 1;
    const bool ideograph = (Character >= 0x3400 && Character <= 0x9FFF) || (Character >= 0xF900 && Character <= 0xFAFF);
    return ideograph || (Character >= 0x3130 && Character <= 0x318F) ? 10 : 100;
}

RowPlan Rows_Plan(const std::vector<RowCell> &Cells, u32 Capacity, bool FromUnicode, bool Spare)
{
    Planner planner{FromUnicode, Spare, false, groupsOf(Cells)};
    const auto rowsNeeded = [&] { return planner.groups.size() + (planner.needUnmapped && !planner.absorbed ? 1 : 0); };
    while (rowsNeeded() > Capacity) take(planner, cheapest(planner));

    RowPlan plan{std::move(planner.groups), planner.needUnmapped && !planner.absorbed, {}};
    std::map<u8, const RowGroup *> home;
    for (const RowGroup &group : plan.groups)
        for (const u8 first : group.firsts) home[first] = &group;
    for (const RowCell &cell : Cells) {
        const auto at = home.find(cell.first);
        if (at == home.end() || at->second->owner[cell.second] != cell.first) plan.lost.push_back(cell);
    }
    return plan;
}
