// The condition names of the application programming interface, by condition number.
//
// A row's code is its place, so that a lookup by code is an index; the one exception is the last row, whose condition
// shares code 12 with FILENOTFOUND. Nothing in this library reads the table.

#include "super_int.h"

// clang-format off
constexpr SupER_Condition ConditionNameTable[SUPER_CONDITION_COUNT + 1] = {
    {"NORMAL",        0}, {"ERROR",        1}, {"RDATT",        2}, {"WRBRK",        3}, {"EOF",          4},
    {"EODS",          5}, {"EOC",          6}, {"INBFMH",       7}, {"ENDINPT",      8}, {"NONVAL",       9},
    {"NOSTART",      10}, {"TERMIDERR",   11}, {"FILENOTFOUND", 12}, {"NOTFND",     13}, {"DUPREC",      14},
    {"DUPKEY",       15}, {"INVREQ",      16}, {"IOERR",       17}, {"NOSPACE",     18}, {"NOTOPEN",     19},
    {"ENDFILE",      20}, {"ILLOGIC",     21}, {"LENGERR",     22}, {"QZERO",       23}, {"SIGNAL",      24},
    {"QBUSY",        25}, {"ITEMERR",     26}, {"PGMIDERR",    27}, {"TRANSIDERR",  28}, {"ENDDATA",     29},
    {"INVTSREQ",     30}, {"EXPIRED",     31}, {"RETPAGE",     32}, {"RTEFAIL",     33}, {"RTESOME",     34},
    {"TSIOERR",      35}, {"MAPFAIL",     36}, {"INVERRTERM",  37}, {"INVMPSZ",     38}, {"IGREQID",     39},
    {"OVERFLOW",     40}, {"INVLDC",      41}, {"NOSTG",       42}, {"JIDERR",      43}, {"QIDERR",      44},
    {"NOJBUFSP",     45}, {"DSSTAT",      46}, {"SELNERR",     47}, {"FUNCERR",     48}, {"UNEXPIN",     49},
    {"NOPASSBKRD",   50}, {"NOPASSBKWR",  51}, {"",            52}, {"SYSIDERR",    53}, {"ISCINVREQ",   54},
    {"ENQBUSY",      55}, {"ENVDEFERR",   56}, {"IGREQCD",     57}, {"SESSIONERR",  58}, {"SYSBUSY",     59},
    {"SESSBUSY",     60}, {"NOTALLOC",    61}, {"CBIDERR",     62}, {"INVEXITREQ",  63}, {"INVPARTNSET", 64},
    {"INVPARTN",     65}, {"PARTNFAIL",   66}, {"",            67}, {"",            68}, {"USERIDERR",   69},
    {"NOTAUTH",      70}, {"",            71}, {"SUPPRESSED",  72}, {"WRONGSTAT",   73}, {"NAMEERROR",   74},
    {"",             75}, {"CCERROR",     76}, {"MAPERROR",    77}, {"",            78}, {"",            79},
    {"NOSPOOL",      80}, {"TERMERR",     81}, {"ROLLEDBACK",  82}, {"END",         83}, {"DISABLED",    84},
    {"ALLOCERR",     85}, {"STRELERR",    86}, {"OPENERR",     87}, {"SPOLBUSY",    88}, {"SPOLERR",     89},
    {"NODEIDERR",    90}, {"TASKIDERR",   91}, {"TCIDERR",     92}, {"DSIDERR",     12},
    {nullptr, 0xFFFFFFFFu},
};
// clang-format on

static_assert(ConditionNameTable[SUPER_CONDITION_COUNT].Name == nullptr, "the last row ends the table");
static_assert(ConditionNameTable[92].Code == 92 && ConditionNameTable[93].Code == ConditionNameTable[12].Code);
