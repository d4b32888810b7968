// The name tables, value by value.

#include <map>
#include <set>
#include <sstream>

#include "component_rows.h"
#include "trace_case.h"

#include "inftr_component_numbers.h"

TEST(InfTR_GroupTable, HoldsEveryComponentAndMaskName)
{
    std::vector<std::string> expected;
    for (const ComponentRow &row : componentRows) {
        std::istringstream names(row.Masks);
        std::string name;
        while (names >> name) {
            expected.push_back(std::string(row.Group) + " " + row.Name + " " + std::to_string(row.Number) + " " +
                               row.Name + "_" + name);
        }
    }
    std::vector<std::string> found;
    for (const InfTR_GroupRow *group = InfTR_GroupTable; group->Prefix != nullptr; ++group) {
        for (const InfTR_ComponentRow *row = group->Components; row->Name != nullptr; ++row) {
            for (const InfTR_MaskNameRow *mask = row->MaskNames; mask->Name != nullptr; ++mask) {
                EXPECT_EQ(mask->Word, 0u);
                found.push_back(std::string(group->Prefix) + " " + row->Name + " " + std::to_string(row->Number) + " " +
                                mask->Name);
            }
        }
    }
    EXPECT_EQ(found, expected);
    EXPECT_EQ(found.size(), 771u);
    EXPECT_EQ(std::size(componentRows), 97u);
}

TEST(InfTR_GroupTable, GroupsStandInTheirOrderAndComponentsInTheirs)
{
    const char *const groups[] = {"ADM", "COM", "DAM", "INF", "CON", "PIN", "REG", "STO", "SUP", "TAS", "TER"};
    size_t at = 0;
    const InfTR_GroupRow *group = InfTR_GroupTable;
    for (; group->Prefix != nullptr; ++group) EXPECT_STREQ(group->Prefix, groups[at++]);
    EXPECT_EQ(at, 11u);
    EXPECT_EQ(group->Components, nullptr);

    std::set<u32> numbers;
    for (const ComponentRow &row : componentRows) {
        EXPECT_GE(row.Number, 1u);
        EXPECT_LT(row.Number, static_cast<u32>(INFTR_COMPONENT_COUNT));
        EXPECT_TRUE(numbers.insert(row.Number).second) << row.Name;
        EXPECT_EQ(strncmp(row.Group, row.Name, 3), 0);
    }
    EXPECT_EQ(*numbers.rbegin(), 115u);
}

TEST(InfTR_GroupTable, EachTableEndsWithItsAllName)
{
    for (const InfTR_GroupRow *group = InfTR_GroupTable; group->Prefix != nullptr; ++group) {
        for (const InfTR_ComponentRow *row = group->Components; row->Name != nullptr; ++row) {
            const InfTR_MaskNameRow *mask = row->MaskNames;
            while (mask[1].Name != nullptr) ++mask;
            EXPECT_EQ(mask->Name, std::string(row->Name) + "_ALL");
        }
    }
}

TEST(InfTR_ProductTable, HoldsTheProcessKinds)
{
    const char *const names[] = {"VELA", "AS", "AM", "LD", "RM", "RS", "IC", "RL",
                                 "IP",   "SL", "LM", "OL", "NP", "LU", "CB"};
    for (i32 index = 0; index < INFTR_PRODUCT_ROWS; ++index) {
        EXPECT_EQ(InfTR_ProductTable[index].Index, index);
        EXPECT_STREQ(InfTR_ProductTable[index].Name, names[index]);
        EXPECT_EQ(InfTR_ProductTable[index].Bit, 1u << index);
    }
}

#define NUMBER(Name)                                                                                                   \
    {                                                                                                                  \
#Name, INFTR_COMPONENT_##Name                                                                                  \
    }

TEST(ComponentNumbers, EqualTheTable)
{
    const std::map<std::string, u32> constants = {
        NUMBER(ADMDB), NUMBER(ADMFN), NUMBER(ADMGY), NUMBER(ADMLG), NUMBER(ADMSA), NUMBER(ADMSC), NUMBER(ADMSF),
        NUMBER(COMCB), NUMBER(COMCL), NUMBER(COMCR), NUMBER(COMDL), NUMBER(COMDP), NUMBER(COMFS), NUMBER(COMIP),
        NUMBER(COMLQ), NUMBER(COMLU), NUMBER(COMOL), NUMBER(COMRL), NUMBER(COMRS), NUMBER(COMSN), NUMBER(COMSU),
        NUMBER(COMTR), NUMBER(DAMBR), NUMBER(DAMDB), NUMBER(DAMFH), NUMBER(DAMFI), NUMBER(DAMFS), NUMBER(DAMJO),
        NUMBER(DAMTD), NUMBER(DAMTS), NUMBER(INFCS), NUMBER(INFDF), NUMBER(INFDU), NUMBER(INFEV), NUMBER(INFOD),
        NUMBER(INFST), NUMBER(INFTF), NUMBER(INFTR), NUMBER(CONCO), NUMBER(CONTI), NUMBER(CONTS), NUMBER(PINBM),
        NUMBER(PINCA), NUMBER(PINCB), NUMBER(PINCI), NUMBER(PINCV), NUMBER(PINDA), NUMBER(PINDB), NUMBER(PINDC),
        NUMBER(PINJV), NUMBER(PINPR), NUMBER(REGCO), NUMBER(REGDC), NUMBER(REGFI), NUMBER(REGGA), NUMBER(REGGY),
        NUMBER(REGJO), NUMBER(REGLI), NUMBER(REGMO), NUMBER(REGOD), NUMBER(REGPR), NUMBER(REGRE), NUMBER(REGRM),
        NUMBER(REGSC), NUMBER(REGSE), NUMBER(REGSF), NUMBER(REGTD), NUMBER(REGTE), NUMBER(REGTR), NUMBER(REGTS),
        NUMBER(REGUS), NUMBER(REGXA), NUMBER(STOMA), NUMBER(STORE), NUMBER(STOTA), NUMBER(SUPBU), NUMBER(SUPER),
        NUMBER(SUPIV), NUMBER(SUPLM), NUMBER(SUPOS), NUMBER(SUPPR), NUMBER(SUPTM), NUMBER(SUPTR), NUMBER(TASCO),
        NUMBER(TASED), NUMBER(TASLU), NUMBER(TASPR), NUMBER(TASTA), NUMBER(TERBM), NUMBER(TERBY), NUMBER(TEREC),
        NUMBER(TEREM), NUMBER(TEREP), NUMBER(TERLD), NUMBER(TERNT), NUMBER(TERSH), NUMBER(TERTL),
    };
    EXPECT_EQ(constants.size(), std::size(componentRows));
    for (const ComponentRow &row : componentRows) {
        const auto constant = constants.find(row.Name);
        ASSERT_NE(constant, constants.end()) << row.Name;
        EXPECT_EQ(constant->second, row.Number) << row.Name;
    }
}
