// The names of code sets: short name to full name, full name to number.
//
// Both tables are searched from the top and the first match counts. Some rows repeat earlier ones; they are reached, if
// at all, by a search for their other column: 25488 and 25491 lead back to names that belong to 912 and 920.

#include "supos_conversion.h"

#include "supos_icnv_int.h"

#include "inftr_guard.h"

#include <cstring>

// clang-format off
// required: "8859-15" is the host set 924, and two empty rows stand at the end
const IcnvShortName IcnvShortNames[ICNV_SHORT_NAMES] = {
    {"037", "QMX-037"}, {"850", "QMX-850"}, {"819", "QMX-819"}, {"437", "QMX-437"}, {"930", "QMX-930"},
    {"932", "QMX-932"}, {"EUCJP", "QMX-eucJP"}, {"8859-1", "ISO8859-1"}, {"8859-2", "ISO8859-2"},
    {"8859-5", "ISO8859-5"}, {"8859-6", "ISO8859-6"}, {"8859-7", "ISO8859-7"}, {"8859-8", "ISO8859-8"},
    {"8859-9", "ISO8859-9"}, {"930", "QMX-930"}, {"931", "QMX-931"}, {"939", "QMX-939"}, {"932", "QMX-932"},
    {"942", "QMX-942"}, {"943", "QMX-943"}, {"EUCKR", "QMX-eucKR"}, {"934", "QMX-934"}, {"944", "QMX-944"},
    {"933", "QMX-933"}, {"EUCTW", "QMX-eucTW"}, {"938", "QMX-938"}, {"948", "QMX-948"}, {"937", "QMX-937"},
    {"946", "QMX-946"}, {"1381", "QMX-1381"}, {"935", "QMX-935"}, {"EUCCN", "QMX-eucCN"}, {"GB18030", "GB18030"},
    {"1046", "QMX-1046"}, {"864", "QMX-864"}, {"1089", "QMX-1089"}, {"420", "QMX-420"}, {"855", "QMX-855"},
    {"915", "QMX-915"}, {"1025", "QMX-1025"}, {"869", "QMX-869"}, {"813", "QMX-813"}, {"875", "QMX-875"},
    {"856", "QMX-856"}, {"916", "QMX-916"}, {"424", "QMX-424"}, {"273", "QMX-273"}, {"277", "QMX-277"},
    {"278", "QMX-278"}, {"280", "QMX-280"}, {"284", "QMX-284"}, {"285", "QMX-285"}, {"297", "QMX-297"},
    {"500", "QMX-500"}, {"871", "QMX-871"}, {"852", "QMX-852"}, {"912", "QMX-912"}, {"870", "QMX-870"},
    {"857", "QMX-857"}, {"920", "QMX-920"}, {"1026", "QMX-1026"}, {"858", "QMX-858"}, {"921", "QMX-921"},
    {"922", "QMX-922"}, {"923", "QMX-923"}, {"924", "QMX-924"}, {"954", "QMX-954"}, {"964", "QMX-964"},
    {"970", "QMX-970"}, {"1047", "QMX-1047"}, {"1112", "QMX-1112"}, {"1122", "QMX-1122"}, {"1140", "QMX-1140"},
    {"1141", "QMX-1141"}, {"1142", "QMX-1142"}, {"1143", "QMX-1143"}, {"1144", "QMX-1144"}, {"1145", "QMX-1145"},
    {"1146", "QMX-1146"}, {"1147", "QMX-1147"}, {"1148", "QMX-1148"}, {"1149", "QMX-1149"}, {"1250", "QMX-1250"},
    {"1251", "QMX-1251"}, {"1252", "QMX-1252"}, {"1253", "QMX-1253"}, {"1254", "QMX-1254"}, {"1255", "QMX-1255"},
    {"1256", "QMX-1256"}, {"1257", "QMX-1257"}, {"1258", "QMX-1258"}, {"1363", "QMX-1363"}, {"1383", "QMX-1383"},
    {"1386", "QMX-1386"}, {"5346", "QMX-5346"}, {"5347", "QMX-5347"}, {"5348", "QMX-5348"}, {"5349", "QMX-5349"},
    {"5350", "QMX-5350"}, {"5351", "QMX-5351"}, {"5352", "QMX-5352"}, {"5353", "QMX-5353"}, {"5354", "QMX-5354"},
    {"8859-2", "ISO8859-2"}, {"8859-9", "ISO8859-9"}, {"8859-15", "QMX-924"}, {"UTF8", "UTF-8"}, {"UCS2", "UCS-2"},
    {nullptr, nullptr}, {nullptr, nullptr},
};

// required: "QMX-875" is 874; "GB18030" and "QMX-1381" are one number
const IcnvCodeSet IcnvCodeSets[ICNV_CODE_SETS] = {
    {"QMX-037", 37}, {"ISO8859-1", 819}, {"QMX-850", 850}, {"QMX-819", 819}, {"QMX-437", 437}, {"QMX-930", 930},
    {"QMX-931", 931}, {"QMX-939", 939}, {"QMX-932", 932}, {"QMX-eucJP", 954}, {"QMX-942", 942}, {"QMX-943", 943},
    {"QMX-eucKR", 970}, {"QMX-934", 934}, {"QMX-944", 944}, {"QMX-949", 949}, {"QMX-933", 933}, {"QMX-eucTW", 964},
    {"QMX-950", 950}, {"big5", 950}, {"QMX-938", 938}, {"QMX-948", 948}, {"QMX-937", 937}, {"QMX-946", 946},
    {"QMX-1381", 1381}, {"QMX-935", 935}, {"QMX-eucCN", 1383}, {"GB18030", 1381}, {"QMX-1046", 1046},
    {"QMX-864", 864}, {"ISO8859-6", 1089}, {"QMX-1089", 1089}, {"QMX-420", 420}, {"QMX-855", 855}, {"QMX-866", 866},
    {"ISO8859-5", 915}, {"QMX-915", 915}, {"QMX-1025", 1025}, {"QMX-869", 869}, {"ISO8859-7", 813},
    {"QMX-813", 813}, {"QMX-875", 874}, {"QMX-856", 856}, {"ISO8859-8", 916}, {"QMX-916", 916}, {"QMX-424", 424},
    {"QMX-273", 273}, {"QMX-277", 277}, {"QMX-278", 278}, {"QMX-280", 280}, {"QMX-284", 284}, {"QMX-285", 285},
    {"QMX-297", 297}, {"QMX-500", 500}, {"QMX-860", 860}, {"QMX-871", 871}, {"QMX-852", 852}, {"ISO8859-2", 912},
    {"QMX-912", 912}, {"QMX-870", 870}, {"QMX-857", 857}, {"ISO8859-9", 920}, {"QMX-920", 920}, {"QMX-1026", 1026},
    {"QMX-858", 858}, {"QMX-921", 921}, {"QMX-922", 922}, {"QMX-923", 923}, {"QMX-924", 924}, {"QMX-954", 954},
    {"QMX-964", 964}, {"QMX-970", 970}, {"QMX-1047", 1047}, {"QMX-1112", 1112}, {"QMX-1122", 1122},
    {"QMX-1140", 1140}, {"QMX-1141", 1141}, {"QMX-1142", 1142}, {"QMX-1143", 1143}, {"QMX-1144", 1144},
    {"QMX-1145", 1145}, {"QMX-1146", 1146}, {"QMX-1147", 1147}, {"QMX-1148", 1148}, {"QMX-1149", 1149},
    {"QMX-1250", 1250}, {"QMX-1251", 1251}, {"QMX-1252", 1252}, {"QMX-1253", 1253}, {"QMX-1254", 1254},
    {"QMX-1255", 1255}, {"QMX-1256", 1256}, {"QMX-1257", 1257}, {"QMX-1258", 1258}, {"QMX-1363", 1363},
    {"QMX-1383", 1383}, {"QMX-1386", 1386}, {"QMX-5346", 5346}, {"QMX-5347", 5347}, {"QMX-5348", 5348},
    {"QMX-5349", 5349}, {"QMX-5350", 5350}, {"QMX-5351", 5351}, {"QMX-5352", 5352}, {"QMX-5353", 5353},
    {"QMX-5354", 5354}, {"ISO8859-2", 25488}, {"ISO8859-9", 25491}, {"UTF-8", 1208}, {"UCS-2", 13488}, {"", 0},
};
// clang-format on

// The fault of a name that is not in the table: a read through the null pointer of its first empty row.
__attribute__((noreturn, noinline, no_sanitize("address", "undefined", "thread"))) static void fault(void)
{
    const volatile char *volatile nowhere = nullptr;
    static_cast<void>(*nowhere); // NOLINT(clang-analyzer-core.NullDereference): the fault is meant
    __builtin_trap();
}

void SupOS_GetCodePage(const char *Name, char *CodePage)
{
    INFTR_FUNCTION(SUPOS, "SupOS_GetCodePage");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p)", static_cast<const void *>(Name), static_cast<void *>(CodePage));

    for (const IcnvShortName &row : IcnvShortNames) {
        if (row.shortName == nullptr) fault(); // required: an empty row does not end the search
        if (strcmp(row.shortName, Name) != 0) continue;
        strcpy(CodePage, row.fullName);
        INFTR_RETURN(1);
    }
    strncpy(CodePage, Name, SUPOS_CODE_PAGE_SIZE); // of a table without empty rows: the name stands for itself
    INFTR_RETURN(2);
}
