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

// The public catalogue's number of every name. unknown_remote_fault has none there: it stands with "unspecified fault".
TEST(ExceptionObjects, OfStatusesHaveThePublishedNumbers)
{
    static const struct {
        const exc_Object *Object;
        u32 Number;
    } rows[] = {
        {&rpc_x_assoc_grp_not_found, 0x038},
        {&rpc_x_cancel_timeout, 0x030},
        {&rpc_x_coding_error, 0x01A},
        {&rpc_x_comm_failure, 0x016},
        {&rpc_x_context_id_not_found, 0x058},
        {&rpc_x_endpoint_not_found, 0x01F},
        {&rpc_x_in_args_too_big, 0x00D},
        {&rpc_x_invalid_binding, 0x01D},
        {&rpc_x_invalid_bound, 0x07D},
        {&rpc_x_invalid_call_opt, 0x02E},
        {&rpc_x_invalid_naf_id, 0x02A},
        {&rpc_x_invalid_rpc_protseq, 0x020},
        {&rpc_x_invalid_tag, 0x07E},
        {&rpc_x_invalid_timeout, 0x028},
        {&rpc_x_manager_not_entered, 0x06E},
        {&rpc_x_max_descs_exceeded, 0x026},
        {&rpc_x_no_fault, 0x02F},
        {&rpc_x_no_memory, 0x012},
        {&rpc_x_not_rpc_tower, 0x069},
        {&rpc_x_object_not_found, 0x01B},
        {&rpc_x_op_rng_error, 0x001},
        {&rpc_x_protocol_error, 0x03E},
        {&rpc_x_protseq_not_supported, 0x05D},
        {&rpc_x_rpcd_comm_failure, 0x017},
        {&rpc_x_server_too_busy, 0x070},
        {&rpc_x_unknown_if, 0x02C},
        {&rpc_x_unknown_error, 0x0DA},
        {&rpc_x_unknown_mgr_type, 0x050},
        {&rpc_x_unknown_reject, 0x060},
        {&rpc_x_unknown_remote_fault, 0x087},
        {&rpc_x_unsupported_type, 0x02D},
        {&rpc_x_who_are_you_failed, 0x05F},
        {&rpc_x_wrong_boot_time, 0x006},
        {&rpc_x_wrong_kind_of_binding, 0x065},
        {&uuid_x_getconf_failure, 0x08A},
        {&uuid_x_internal_error, 0x08D},
        {&uuid_x_no_address, 0x08B},
        {&uuid_x_socket_failure, 0x089},
        {&rpc_x_access_control_info_inv, 0x04A},
        {&rpc_x_assoc_grp_max_exceeded, 0x052},
        {&rpc_x_assoc_shutdown, 0x056},
        {&rpc_x_cannot_accept, 0x037},
        {&rpc_x_cannot_connect, 0x034},
        {&rpc_x_cant_inq_socket, 0x029},
        {&rpc_x_connect_closed_by_rem, 0x04C},
        {&rpc_x_connect_no_resources, 0x044},
        {&rpc_x_connect_rejected, 0x042},
        {&rpc_x_connect_timed_out, 0x041},
        {&rpc_x_connection_aborted, 0x035},
        {&rpc_x_connection_closed, 0x036},
        {&rpc_x_host_unreachable, 0x049},
        {&rpc_x_invalid_endpoint_format, 0x04E},
        {&rpc_x_loc_connect_aborted, 0x04B},
        {&rpc_x_network_unreachable, 0x043},
        {&rpc_x_no_rem_endpoint, 0x047},
        {&rpc_x_rem_host_crashed, 0x04D},
        {&rpc_x_rem_host_down, 0x048},
        {&rpc_x_rem_network_shutdown, 0x045},
        {&rpc_x_rpc_prot_version_mismatch, 0x072},
        {&rpc_x_string_too_long, 0x00E},
        {&rpc_x_too_many_rem_connects, 0x046},
        {&rpc_x_tsyntaxes_unsupported, 0x057},
        {&rpc_x_binding_vector_full, 0x0B9},
        {&rpc_x_entry_not_found, 0x0A0},
        {&rpc_x_group_not_found, 0x095},
        {&rpc_x_incomplete_name, 0x094},
        {&rpc_x_invalid_arg, 0x063},
        {&rpc_x_invalid_import_context, 0x0AE},
        {&rpc_x_invalid_inquiry_context, 0x0A1},
        {&rpc_x_invalid_inquiry_type, 0x0A9},
        {&rpc_x_invalid_lookup_context, 0x0B8},
        {&rpc_x_invalid_name_syntax, 0x096},
        {&rpc_x_invalid_object, 0x03A},
        {&rpc_x_invalid_vers_option, 0x0BD},
        {&rpc_x_name_service_unavailable, 0x093},
        {&rpc_x_no_env_setup, 0x0C4},
        {&rpc_x_no_more_bindings, 0x0B5},
        {&rpc_x_no_more_elements, 0x0A7},
        {&rpc_x_not_found, 0x09C},
        {&rpc_x_not_rpc_entry, 0x0B7},
        {&rpc_x_obj_uuid_not_found, 0x0B4},
        {&rpc_x_profile_not_found, 0x09B},
        {&rpc_x_unsupported_name_syntax, 0x0A6},
        {&rpc_x_auth_bad_integrity, 0x0E6},
        {&rpc_x_auth_badaddr, 0x0ED},
        {&rpc_x_auth_baddirection, 0x0F5},
        {&rpc_x_auth_badkeyver, 0x0F2},
        {&rpc_x_auth_badmatch, 0x0EB},
        {&rpc_x_auth_badorder, 0x0F1},
        {&rpc_x_auth_badseq, 0x0F7},
        {&rpc_x_auth_badversion, 0x0EE},
        {&rpc_x_auth_field_toolong, 0x0F9},
        {&rpc_x_auth_inapp_cksum, 0x0F8},
        {&rpc_x_auth_method, 0x0F6},
        {&rpc_x_auth_msg_type, 0x0EF},
        {&rpc_x_auth_modified, 0x0F0},
        {&rpc_x_auth_mut_fail, 0x0F4},
        {&rpc_x_auth_nokey, 0x0F3},
        {&rpc_x_auth_not_us, 0x0EA},
        {&rpc_x_auth_repeat, 0x0E9},
        {&rpc_x_auth_skew, 0x0EC},
        {&rpc_x_auth_tkt_expired, 0x0E7},
        {&rpc_x_auth_tkt_nyv, 0x0E8},
        {&rpc_x_call_id_not_found, 0x0E4},
        {&rpc_x_credentials_too_large, 0x0E3},
        {&rpc_x_invalid_checksum, 0x0E1},
        {&rpc_x_invalid_crc, 0x0FA},
        {&rpc_x_invalid_credentials, 0x0E2},
        {&rpc_x_key_id_not_found, 0x0E5},
        {&rpc_x_ss_char_trans_open_fail, 0x0DB},
        {&rpc_x_ss_char_trans_short_file, 0x0DC},
        {&rpc_x_ss_context_damaged, 0x0DD},
        {&rpc_x_ss_context_mismatch, 0x075},
        {&rpc_x_ss_in_null_context, 0x0DE},
        {&rpc_x_ss_pipe_closed, 0x07F},
        {&rpc_x_ss_pipe_comm_error, 0x080},
        {&rpc_x_ss_pipe_discipline_error, 0x081},
        {&rpc_x_ss_pipe_empty, 0x082},
        {&rpc_x_ss_pipe_memory, 0x083},
        {&rpc_x_ss_pipe_order, 0x084},
        {&rpc_x_ss_remote_comm_failure, 0x085},
        {&rpc_x_ss_remote_no_memory, 0x086},
        {&rpc_x_ss_bad_buffer, 0x110},
        {&rpc_x_ss_bad_es_action, 0x111},
        {&rpc_x_ss_wrong_es_version, 0x112},
    };
    static_assert(sizeof rows / sizeof rows[0] == 125);
    for (const auto &row : rows) {
        EXPECT_EQ(row.Object->Kind, 2u) << qrt_exception_name(row.Object);
        EXPECT_EQ(row.Object->Value, 0x0DCE6000u + row.Number) << qrt_exception_name(row.Object);
    }
}

TEST(StatusNumbers, OfTheMapperAndOfCallsAreThePublishedOnes)
{
    EXPECT_EQ(rpc_s_call_cancelled, 0x0DCE6031u);
    EXPECT_EQ(rpc_s_invalid_string_binding, 0x0DCE6040u);
    EXPECT_EQ(rpc_s_inval_net_addr, 0x0DCE602Bu);
    EXPECT_EQ(rpc_s_call_timeout, 0x0DCE606Cu);
    EXPECT_EQ(rpc_s_binding_incomplete, 0x0DCE60FBu);
    EXPECT_EQ(rpc_s_unknown_ifspec_vers, 0x0DCE60FEu);
    EXPECT_EQ(rpc_s_not_listening, 0x0DCE610Fu);
    EXPECT_EQ(rpc_s_mgmt_op_disallowed, 0x0DCE606Du);
    EXPECT_EQ(rpc_s_invalid_type, 0x0DCE603Bu);
    EXPECT_EQ(uuid_s_invalid_string_uuid, 0x0DCE608Fu);
    EXPECT_EQ(rpc_s_no_more_elements, 0x0DCE60A7u);
    EXPECT_EQ(rpc_s_wire(rpc_s_no_more_elements), 0x16C9A0A7u);
    const u32 mapper[] = {ept_s_cant_perform_op, ept_s_no_memory,         ept_s_database_invalid,
                          ept_s_cant_create,     ept_s_cant_access,       ept_s_database_already_open,
                          ept_s_invalid_entry,   ept_s_update_failed,     ept_s_invalid_context,
                          ept_s_not_registered,  ept_s_server_unavailable};
    for (u32 at = 0; at < 11; ++at) EXPECT_EQ(mapper[at], 0x16C9A0CDu + at);
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
