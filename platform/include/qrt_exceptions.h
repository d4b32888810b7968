#ifndef QRT_EXCEPTIONS_H
#define QRT_EXCEPTIONS_H

/* Exceptions of the thread library and of the remote-procedure-call runtime.
 *
 * An exception is an object, told from others by its first two words. It travels as a C++ exception of type exc_Raised,
 * which holds the object's address; frames of C code in between need nothing but their unwind tables, which x86-64
 * compilers emit by themselves.
 *
 * C++ hosts write
 *
 *     EXC_TRY {
 *         tsRPC_Op36(binding, pair);
 *     } EXC_CATCH(rpc_x_comm_failure) {
 *         reconnect();
 *     } EXC_CATCH_ALL {
 *         puts(SupPR_ExceptionToString(exc_this));
 *         EXC_RERAISE;
 *     } EXC_END_TRY
 *
 * and C hosts put the guarded part into a routine: exc_guard(routine, argument) gives NULL, or the exception that ended
 * it. With EXC_PLAIN_NAMES defined before this header, TRY, CATCH, CATCH_ALL, RERAISE, RAISE and ENDTRY, the names of
 * the public thread-exception package, stand for the same. */

#include "plat_types.h"

PLAT_BEGIN

/* An exception object. Never copied by the runtime: its address is what travels. */
typedef struct exc_Object {
    u32 Kind;
    u32 Value;
} exc_Object;

#define EXC_KIND_THREAD 1u /* Value: a number of this runtime's own */
#define EXC_KIND_STATUS 2u /* Value: the status of the same name */

/* Raises an exception. Does not return. Nobody there to catch it ends the process as std::terminate does. */
PLAT_API __attribute__((noreturn)) void exc_raise(const exc_Object *Object);

/* Nonzero when both objects have the same first two words. Neither may be NULL. */
PLAT_API i32 exc_matches(const exc_Object *One, const exc_Object *Other);

/* Runs Routine(Argument) and gives NULL, or the exception that ended it. Other C++ exceptions pass through. */
PLAT_API const exc_Object *exc_guard(void (*Routine)(void *Argument), void *Argument);

/* The filter of a guarded block that holds what reaches it: stores the object in Held and returns 1, "taken". An
 * exception that is already held stays the one to be raised: the first tells the cause. */
PLAT_API i32 QRTExceptionFilter(const exc_Object *Object, const exc_Object **Held);

/* Switches cancellation of the calling thread: 1 on, 0 off. Previous (may be NULL) receives the state before.
 * Returns 0, or -1 for any other NewState, which changes nothing. */
PLAT_API i32 qrt_ptdexc_setcanceltype(i32 NewState, i32 *Previous);

/* The exception of a status of this runtime: the object of the same name, rpc_x_unknown_error where none has it.
 * Status may have either base (rpc_status.h). Never NULL; 0 gives rpc_x_unknown_error too. */
PLAT_API const exc_Object *qrt_exception_of_status(u32 Status);

/* The exception of the status in a fault; rpc_x_unknown_remote_fault for numbers that no table names. */
PLAT_API const exc_Object *qrt_exception_of_fault(u32 Fault);

/* The name of an exception of this header, such as "rpc_x_comm_failure"; NULL for any other object. */
PLAT_API const char *qrt_exception_name(const exc_Object *Object);

/* Thread library. */
extern PLAT_API const exc_Object pthread_cancel_e;
extern PLAT_API const exc_Object pthread_badparam_e;
extern PLAT_API const exc_Object pthread_exit_thread_e;
extern PLAT_API const exc_Object pthread_existence_e;
extern PLAT_API const exc_Object pthread_in_use_e;
extern PLAT_API const exc_Object pthread_use_error_e;
extern PLAT_API const exc_Object pthread_nostackmem_e;
extern PLAT_API const exc_Object exc_SIGEMT_e;
extern PLAT_API const exc_Object exc_SIGIOT_e;
extern PLAT_API const exc_Object exc_SIGPIPE_e;
extern PLAT_API const exc_Object exc_SIGSYS_e;
extern PLAT_API const exc_Object exc_SIGTRAP_e;
extern PLAT_API const exc_Object exc_aritherr_e;
extern PLAT_API const exc_Object exc_decovf_e;
extern PLAT_API const exc_Object exc_excpu_e;
extern PLAT_API const exc_Object exc_exfilsiz_e;
extern PLAT_API const exc_Object exc_exquota_e;
extern PLAT_API const exc_Object exc_fltdiv_e;
extern PLAT_API const exc_Object exc_fltovf_e;
extern PLAT_API const exc_Object exc_fltund_e;
extern PLAT_API const exc_Object exc_illaddr_e;
extern PLAT_API const exc_Object exc_illinstr_e;
extern PLAT_API const exc_Object exc_insfmem_e;
extern PLAT_API const exc_Object exc_intdiv_e;
extern PLAT_API const exc_Object exc_intovf_e;
extern PLAT_API const exc_Object exc_nopriv_e;
extern PLAT_API const exc_Object exc_privinst_e;
extern PLAT_API const exc_Object exc_resaddr_e;
extern PLAT_API const exc_Object exc_resoper_e;
extern PLAT_API const exc_Object exc_subrng_e;
extern PLAT_API const exc_Object exc_uninitexc_e;

/* Remote-procedure-call runtime. */
extern PLAT_API const exc_Object rpc_x_assoc_grp_not_found;
extern PLAT_API const exc_Object rpc_x_cancel_timeout;
extern PLAT_API const exc_Object rpc_x_coding_error;
extern PLAT_API const exc_Object rpc_x_comm_failure;
extern PLAT_API const exc_Object rpc_x_context_id_not_found;
extern PLAT_API const exc_Object rpc_x_endpoint_not_found;
extern PLAT_API const exc_Object rpc_x_in_args_too_big;
extern PLAT_API const exc_Object rpc_x_invalid_binding;
extern PLAT_API const exc_Object rpc_x_invalid_bound;
extern PLAT_API const exc_Object rpc_x_invalid_call_opt;
extern PLAT_API const exc_Object rpc_x_invalid_naf_id;
extern PLAT_API const exc_Object rpc_x_invalid_rpc_protseq;
extern PLAT_API const exc_Object rpc_x_invalid_tag;
extern PLAT_API const exc_Object rpc_x_invalid_timeout;
extern PLAT_API const exc_Object rpc_x_manager_not_entered;
extern PLAT_API const exc_Object rpc_x_max_descs_exceeded;
extern PLAT_API const exc_Object rpc_x_no_fault;
extern PLAT_API const exc_Object rpc_x_no_memory;
extern PLAT_API const exc_Object rpc_x_not_rpc_tower;
extern PLAT_API const exc_Object rpc_x_object_not_found;
extern PLAT_API const exc_Object rpc_x_op_rng_error;
extern PLAT_API const exc_Object rpc_x_protocol_error;
extern PLAT_API const exc_Object rpc_x_protseq_not_supported;
extern PLAT_API const exc_Object rpc_x_rpcd_comm_failure;
extern PLAT_API const exc_Object rpc_x_server_too_busy;
extern PLAT_API const exc_Object rpc_x_unknown_if;
extern PLAT_API const exc_Object rpc_x_unknown_error;
extern PLAT_API const exc_Object rpc_x_unknown_mgr_type;
extern PLAT_API const exc_Object rpc_x_unknown_reject;
extern PLAT_API const exc_Object rpc_x_unknown_remote_fault;
extern PLAT_API const exc_Object rpc_x_unsupported_type;
extern PLAT_API const exc_Object rpc_x_who_are_you_failed;
extern PLAT_API const exc_Object rpc_x_wrong_boot_time;
extern PLAT_API const exc_Object rpc_x_wrong_kind_of_binding;
extern PLAT_API const exc_Object uuid_x_getconf_failure;
extern PLAT_API const exc_Object uuid_x_internal_error;
extern PLAT_API const exc_Object uuid_x_no_address;
extern PLAT_API const exc_Object uuid_x_socket_failure;
extern PLAT_API const exc_Object rpc_x_access_control_info_inv;
extern PLAT_API const exc_Object rpc_x_assoc_grp_max_exceeded;
extern PLAT_API const exc_Object rpc_x_assoc_shutdown;
extern PLAT_API const exc_Object rpc_x_cannot_accept;
extern PLAT_API const exc_Object rpc_x_cannot_connect;
extern PLAT_API const exc_Object rpc_x_cant_inq_socket;
extern PLAT_API const exc_Object rpc_x_connect_closed_by_rem;
extern PLAT_API const exc_Object rpc_x_connect_no_resources;
extern PLAT_API const exc_Object rpc_x_connect_rejected;
extern PLAT_API const exc_Object rpc_x_connect_timed_out;
extern PLAT_API const exc_Object rpc_x_connection_aborted;
extern PLAT_API const exc_Object rpc_x_connection_closed;
extern PLAT_API const exc_Object rpc_x_host_unreachable;
extern PLAT_API const exc_Object rpc_x_invalid_endpoint_format;
extern PLAT_API const exc_Object rpc_x_loc_connect_aborted;
extern PLAT_API const exc_Object rpc_x_network_unreachable;
extern PLAT_API const exc_Object rpc_x_no_rem_endpoint;
extern PLAT_API const exc_Object rpc_x_rem_host_crashed;
extern PLAT_API const exc_Object rpc_x_rem_host_down;
extern PLAT_API const exc_Object rpc_x_rem_network_shutdown;
extern PLAT_API const exc_Object rpc_x_rpc_prot_version_mismatch;
extern PLAT_API const exc_Object rpc_x_string_too_long;
extern PLAT_API const exc_Object rpc_x_too_many_rem_connects;
extern PLAT_API const exc_Object rpc_x_tsyntaxes_unsupported;
extern PLAT_API const exc_Object rpc_x_binding_vector_full;
extern PLAT_API const exc_Object rpc_x_entry_not_found;
extern PLAT_API const exc_Object rpc_x_group_not_found;
extern PLAT_API const exc_Object rpc_x_incomplete_name;
extern PLAT_API const exc_Object rpc_x_invalid_arg;
extern PLAT_API const exc_Object rpc_x_invalid_import_context;
extern PLAT_API const exc_Object rpc_x_invalid_inquiry_context;
extern PLAT_API const exc_Object rpc_x_invalid_inquiry_type;
extern PLAT_API const exc_Object rpc_x_invalid_lookup_context;
extern PLAT_API const exc_Object rpc_x_invalid_name_syntax;
extern PLAT_API const exc_Object rpc_x_invalid_object;
extern PLAT_API const exc_Object rpc_x_invalid_vers_option;
extern PLAT_API const exc_Object rpc_x_name_service_unavailable;
extern PLAT_API const exc_Object rpc_x_no_env_setup;
extern PLAT_API const exc_Object rpc_x_no_more_bindings;
extern PLAT_API const exc_Object rpc_x_no_more_elements;
extern PLAT_API const exc_Object rpc_x_not_found;
extern PLAT_API const exc_Object rpc_x_not_rpc_entry;
extern PLAT_API const exc_Object rpc_x_obj_uuid_not_found;
extern PLAT_API const exc_Object rpc_x_profile_not_found;
extern PLAT_API const exc_Object rpc_x_unsupported_name_syntax;
extern PLAT_API const exc_Object rpc_x_auth_bad_integrity;
extern PLAT_API const exc_Object rpc_x_auth_badaddr;
extern PLAT_API const exc_Object rpc_x_auth_baddirection;
extern PLAT_API const exc_Object rpc_x_auth_badkeyver;
extern PLAT_API const exc_Object rpc_x_auth_badmatch;
extern PLAT_API const exc_Object rpc_x_auth_badorder;
extern PLAT_API const exc_Object rpc_x_auth_badseq;
extern PLAT_API const exc_Object rpc_x_auth_badversion;
extern PLAT_API const exc_Object rpc_x_auth_field_toolong;
extern PLAT_API const exc_Object rpc_x_auth_inapp_cksum;
extern PLAT_API const exc_Object rpc_x_auth_method;
extern PLAT_API const exc_Object rpc_x_auth_msg_type;
extern PLAT_API const exc_Object rpc_x_auth_modified;
extern PLAT_API const exc_Object rpc_x_auth_mut_fail;
extern PLAT_API const exc_Object rpc_x_auth_nokey;
extern PLAT_API const exc_Object rpc_x_auth_not_us;
extern PLAT_API const exc_Object rpc_x_auth_repeat;
extern PLAT_API const exc_Object rpc_x_auth_skew;
extern PLAT_API const exc_Object rpc_x_auth_tkt_expired;
extern PLAT_API const exc_Object rpc_x_auth_tkt_nyv;
extern PLAT_API const exc_Object rpc_x_call_id_not_found;
extern PLAT_API const exc_Object rpc_x_credentials_too_large;
extern PLAT_API const exc_Object rpc_x_invalid_checksum;
extern PLAT_API const exc_Object rpc_x_invalid_crc;
extern PLAT_API const exc_Object rpc_x_invalid_credentials;
extern PLAT_API const exc_Object rpc_x_key_id_not_found;
extern PLAT_API const exc_Object rpc_x_ss_char_trans_open_fail;
extern PLAT_API const exc_Object rpc_x_ss_char_trans_short_file;
extern PLAT_API const exc_Object rpc_x_ss_context_damaged;
extern PLAT_API const exc_Object rpc_x_ss_context_mismatch;
extern PLAT_API const exc_Object rpc_x_ss_in_null_context;
extern PLAT_API const exc_Object rpc_x_ss_pipe_closed;
extern PLAT_API const exc_Object rpc_x_ss_pipe_comm_error;
extern PLAT_API const exc_Object rpc_x_ss_pipe_discipline_error;
extern PLAT_API const exc_Object rpc_x_ss_pipe_empty;
extern PLAT_API const exc_Object rpc_x_ss_pipe_memory;
extern PLAT_API const exc_Object rpc_x_ss_pipe_order;
extern PLAT_API const exc_Object rpc_x_ss_remote_comm_failure;
extern PLAT_API const exc_Object rpc_x_ss_remote_no_memory;
extern PLAT_API const exc_Object rpc_x_ss_bad_buffer;
extern PLAT_API const exc_Object rpc_x_ss_bad_es_action;
extern PLAT_API const exc_Object rpc_x_ss_wrong_es_version;

PLAT_END_C

#ifdef __cplusplus

/* What exc_raise throws. */
struct PLAT_API exc_Raised {
    const exc_Object *Object;
};

/* Each part opens a block of its own around a try, so that a handler that raises is not caught by its neighbours. */
#define EXC_TRY                                                                                                        \
    {                                                                                                                  \
        const exc_Object *exc_this = nullptr;                                                                          \
        bool exc_handled = false;                                                                                      \
        {                                                                                                              \
            try {

#define EXC_CLOSE_                                                                                                     \
    }                                                                                                                  \
    catch (const exc_Raised &exc_raised)                                                                               \
    {                                                                                                                  \
        if (exc_handled) throw;                                                                                        \
        exc_this = exc_raised.Object;                                                                                  \
    }                                                                                                                  \
    }

#define EXC_CATCH(Object)                                                                                              \
    EXC_CLOSE_ if (!exc_handled && exc_this != nullptr && exc_matches(exc_this, &(Object)))                            \
    {                                                                                                                  \
        exc_handled = true;                                                                                            \
        try {

#define EXC_CATCH_ALL                                                                                                  \
    EXC_CLOSE_ if (!exc_handled && exc_this != nullptr)                                                                \
    {                                                                                                                  \
        exc_handled = true;                                                                                            \
        try {

#define EXC_END_TRY                                                                                                    \
    EXC_CLOSE_ if (!exc_handled && exc_this != nullptr) exc_raise(exc_this);                                           \
    }

#define EXC_RERAISE exc_raise(exc_this)

#ifdef EXC_PLAIN_NAMES
#define TRY EXC_TRY
#define CATCH(Object) EXC_CATCH(Object)
#define CATCH_ALL EXC_CATCH_ALL
#define RERAISE EXC_RERAISE
#define RAISE(Object) exc_raise(&(Object))
#define ENDTRY EXC_END_TRY
#endif

#endif

#endif
