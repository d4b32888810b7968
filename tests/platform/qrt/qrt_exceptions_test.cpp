// Exceptions: the objects, raising and catching, and the way from statuses and faults to them.

#include "qrt_exceptions.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "qrt_tables.h"
#include "rpc_status.h"

TEST(ExceptionObjects, AreAllDistinctAndNoneIsZero)
{
    std::set<std::pair<u32, u32>> seen;
    std::set<std::string> names;
    for (const Qrt_ExceptionRow &row : Qrt_ExceptionTable) {
        EXPECT_TRUE(row.Object->Kind != 0 || row.Object->Value != 0) << row.Name;
        EXPECT_TRUE(seen.emplace(row.Object->Kind, row.Object->Value).second) << row.Name;
        EXPECT_TRUE(names.insert(row.Name).second) << row.Name;
        EXPECT_STREQ(qrt_exception_name(row.Object), row.Name);
    }
    EXPECT_EQ(seen.size(), 156u);
    const exc_Object stranger = {9, 9};
    EXPECT_EQ(qrt_exception_name(&stranger), nullptr);
}

TEST(ExceptionObjects, OfStatusesHaveTheStatusAsTheirValue)
{
    EXPECT_EQ(rpc_x_no_more_elements.Kind, 2u);
    EXPECT_EQ(rpc_x_no_more_elements.Value, 0x0DCE60A7u);
    EXPECT_EQ(rpc_x_comm_failure.Value, 0x0DCE6016u);
    EXPECT_EQ(uuid_x_socket_failure.Value, 0x0DCE6089u);
    EXPECT_EQ(rpc_x_ss_pipe_comm_error.Value, 0x0DCE6080u);
    EXPECT_EQ(rpc_x_ss_wrong_es_version.Value, 0x0DCE6112u);
    EXPECT_EQ(pthread_cancel_e.Kind, 1u);
}

TEST(ExceptionOfStatus, IsTheObjectOfTheSameNameInEitherBase)
{
    for (const Qrt_ExceptionRow &row : Qrt_ExceptionTable) {
        if (row.Object->Kind != EXC_KIND_STATUS) continue;
        EXPECT_EQ(qrt_exception_of_status(row.Object->Value), row.Object) << row.Name;
        const u32 wire = rpc_s_wire(row.Object->Value);
        const bool mappersOwn = (wire & 0xFFF) >= 0xCD && (wire & 0xFFF) <= 0xD7;
        if (mappersOwn) continue;
        EXPECT_EQ(qrt_exception_of_status(wire), row.Object) << row.Name;
    }
    EXPECT_EQ(qrt_exception_of_status(0x12345), &rpc_x_unknown_error);
    EXPECT_EQ(qrt_exception_of_status(rpc_s_call_cancelled), &pthread_cancel_e);
    EXPECT_EQ(qrt_exception_of_status(rpc_s_call_timeout), &rpc_x_comm_failure);
    EXPECT_EQ(qrt_exception_of_status(ept_s_no_memory), &rpc_x_no_memory);
}

TEST(ExceptionOfFault, FollowsThePublishedTable)
{
    static const struct {
        u32 Fault;
        const exc_Object *Exception;
    } rows[] = {
        {0x1C010001, &rpc_x_comm_failure},
        {0x1C010002, &rpc_x_op_rng_error},
        {0x1C010003, &rpc_x_unknown_if},
        {0x1C010006, &rpc_x_wrong_boot_time},
        {0x1C010009, &rpc_x_unknown_reject},
        {0x1C01000B, &rpc_x_protocol_error},
        {0x1C010013, &rpc_x_unknown_remote_fault},
        {0x1C010014, &rpc_x_server_too_busy},
        {0x1C010015, &rpc_x_string_too_long},
        {0x1C010017, &rpc_x_unsupported_type},
        {0x1C000001, &exc_intdiv_e},
        {0x1C000002, &exc_illaddr_e},
        {0x1C000003, &exc_fltdiv_e},
        {0x1C000004, &exc_fltund_e},
        {0x1C000005, &exc_fltovf_e},
        {0x1C000006, &rpc_x_invalid_tag},
        {0x1C000007, &rpc_x_invalid_bound},
        {0x1C000008, &rpc_x_rpc_prot_version_mismatch},
        {0x1C000009, &rpc_x_unknown_reject},
        {0x1C00000A, &rpc_x_unknown_reject},
        {0x1C00000B, &rpc_x_who_are_you_failed},
        {0x1C00000C, &rpc_x_manager_not_entered},
        {0x1C00000D, &pthread_cancel_e},
        {0x1C00000E, &exc_illinstr_e},
        {0x1C00000F, &exc_aritherr_e},
        {0x1C000010, &exc_intovf_e},
        {0x1C000012, &rpc_x_unknown_remote_fault},
        {0x1C000013, &rpc_x_ss_remote_comm_failure},
        {0x1C000014, &rpc_x_ss_pipe_empty},
        {0x1C000015, &rpc_x_ss_pipe_closed},
        {0x1C000016, &rpc_x_ss_pipe_order},
        {0x1C000017, &rpc_x_ss_pipe_discipline_error},
        {0x1C000018, &rpc_x_ss_pipe_comm_error},
        {0x1C000019, &rpc_x_ss_pipe_memory},
        {0x1C00001A, &rpc_x_ss_context_mismatch},
        {0x1C00001B, &rpc_x_ss_remote_no_memory},
        {0x1C00001C, &rpc_x_context_id_not_found},
        {0x1C00001F, &rpc_x_invalid_checksum},
        {0x1C000020, &rpc_x_invalid_crc},
        {0x1C000021, &rpc_x_unknown_remote_fault},
        {0x1C000022, &rpc_x_unknown_remote_fault},
        {0x1C000023, &rpc_x_unknown_remote_fault},
        {0x1C000024, &rpc_x_object_not_found},
        {0x1C000025, &rpc_x_unknown_remote_fault},
        {0x00000005, &rpc_x_unknown_remote_fault},
        {0x000006F7, &rpc_x_unknown_remote_fault},
    };
    for (const auto &row : rows) EXPECT_EQ(qrt_exception_of_fault(row.Fault), row.Exception) << std::hex << row.Fault;
}

TEST(ExceptionTables, AreSorted)
{
    for (size_t at = 1; at < Qrt_StatusCount; ++at)
        EXPECT_LT(Qrt_StatusTable[at - 1].Status, Qrt_StatusTable[at].Status);
    for (size_t at = 1; at < Qrt_MapperCount; ++at)
        EXPECT_LT(Qrt_MapperTable[at - 1].Status, Qrt_MapperTable[at].Status);
    for (size_t at = 1; at < Qrt_FaultCount; ++at) EXPECT_LT(Qrt_FaultTable[at - 1].Status, Qrt_FaultTable[at].Status);
}

static std::string textOf(u32 status, i32 *known)
{
    unsigned char text[RPC_ERROR_TEXT_SIZE];
    dce_error_inq_text(status, text, known);
    return reinterpret_cast<char *>(text);
}

TEST(DceErrorInqText, NamesStatusesFaultsAndUnknownNumbers)
{
    i32 known;
    EXPECT_EQ(textOf(rpc_s_connect_rejected, &known), "connection refused (dce / rpc)");
    EXPECT_EQ(known, 0);
    EXPECT_EQ(textOf(0, &known), "successful completion (dce / rpc)");
    EXPECT_EQ(textOf(ept_s_not_registered, &known), "endpoint map: nothing registered (dce / rpc)");
    EXPECT_EQ(textOf(nca_s_op_rng_error, &known), "rejected by the server: operation number out of range (dce / rpc)");
    EXPECT_EQ(known, 0);
    EXPECT_EQ(textOf(0xDEADBEEF, &known), "status deadbeef (dce / rpc)");
    EXPECT_EQ(known, -1);
}

// ---- raising and catching

static const exc_Object *catchWhat(const exc_Object *raised, bool *after)
{
    const exc_Object *caught = nullptr;
    *after = false;
    EXC_TRY
    {
        if (raised) exc_raise(raised);
    }
    EXC_CATCH(rpc_x_comm_failure)
    {
        caught = &rpc_x_comm_failure;
    }
    EXC_CATCH(rpc_x_no_memory)
    {
        caught = &rpc_x_no_memory;
    }
    EXC_END_TRY
    *after = true;
    return caught;
}

TEST(ExcTry, CatchesByTheFirstTwoWordsAndPassesTheRest)
{
    bool after;
    const exc_Object alike = rpc_x_no_memory;
    EXPECT_EQ(catchWhat(nullptr, &after), nullptr);
    EXPECT_TRUE(after);
    EXPECT_EQ(catchWhat(&rpc_x_comm_failure, &after), &rpc_x_comm_failure);
    EXPECT_EQ(catchWhat(&alike, &after), &rpc_x_no_memory);
    try {
        catchWhat(&rpc_x_unknown_if, &after);
        FAIL();
    } catch (const exc_Raised &raised) {
        EXPECT_EQ(raised.Object, &rpc_x_unknown_if);
    }
}

TEST(ExcTry, AHandlerThatRaisesIsNotCaughtByItsNeighbours)
{
    int reached = 0;
    try {
        EXC_TRY
        {
            exc_raise(&rpc_x_comm_failure);
        }
        EXC_CATCH(rpc_x_comm_failure)
        {
            exc_raise(&rpc_x_no_memory);
        }
        EXC_CATCH(rpc_x_no_memory)
        {
            reached = 1;
        }
        EXC_CATCH_ALL
        {
            reached = 2;
        }
        EXC_END_TRY
        FAIL();
    } catch (const exc_Raised &raised) {
        EXPECT_EQ(raised.Object, &rpc_x_no_memory);
    }
    EXPECT_EQ(reached, 0);
}

TEST(ExcTry, CatchAllSeesTheObjectAndMayRaiseItAgain)
{
    try {
        EXC_TRY
        {
            exc_raise(&exc_intdiv_e);
        }
        EXC_CATCH_ALL
        {
            EXPECT_EQ(exc_this, &exc_intdiv_e);
            EXC_RERAISE;
        }
        EXC_END_TRY
        FAIL();
    } catch (const exc_Raised &raised) {
        EXPECT_EQ(raised.Object, &exc_intdiv_e);
    }
}

static void raiseIt(void *argument)
{
    exc_raise(static_cast<const exc_Object *>(argument));
}
static void raiseNothing(void *)
{
}
static void raiseOther(void *)
{
    throw 7;
}

TEST(ExcGuard, GivesTheExceptionThatEndedTheRoutine)
{
    EXPECT_EQ(exc_guard(raiseIt, const_cast<exc_Object *>(&rpc_x_unknown_if)), &rpc_x_unknown_if);
    EXPECT_EQ(exc_guard(raiseNothing, nullptr), nullptr);
    EXPECT_THROW(exc_guard(raiseOther, nullptr), int);
}

TEST(ExceptionFilter, HoldsTheFirst)
{
    const exc_Object *held = nullptr;
    EXPECT_EQ(QRTExceptionFilter(&rpc_x_comm_failure, &held), 1);
    EXPECT_EQ(QRTExceptionFilter(&rpc_x_no_memory, &held), 1);
    EXPECT_EQ(held, &rpc_x_comm_failure);
}

TEST(ExcRaise, UncaughtEndsTheProcess)
{
    EXPECT_DEATH([]() noexcept { exc_raise(&rpc_x_no_memory); }(), "exc_Raised");
}

TEST(SetCancelType, TellsTheStateBefore)
{
    std::thread([] {
        i32 previous = 7;
        EXPECT_EQ(qrt_ptdexc_setcanceltype(0, &previous), 0);
        EXPECT_EQ(previous, 1);
        EXPECT_EQ(qrt_ptdexc_setcanceltype(1, &previous), 0);
        EXPECT_EQ(previous, 0);
        EXPECT_EQ(qrt_ptdexc_setcanceltype(2, &previous), -1);
        EXPECT_EQ(qrt_ptdexc_setcanceltype(1, nullptr), 0);
    }).join();
}
