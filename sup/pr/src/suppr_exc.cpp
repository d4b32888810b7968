// Names of exceptions.

#include "suppr_exceptions.h"

#include "suppr_bindings.h"

#include "inftr_guard.h"

#include <cstdio>

constinit exc_Object SUPPR_EXCEPTION_PROCESS = {};
constinit exc_Object SUPPR_EXCEPTION_REGION = {};

// required: one buffer of the process, without a lock
static constinit char resultBuffer[SUPPR_EXCEPTION_TEXT_SIZE] = {};

struct ExceptionRow {
    const exc_Object *Object; // null ends the table
    const char *Name;
};

// The first row whose object has the same first two words; the last row when there is none.
static const ExceptionRow *findRow(const ExceptionRow *row, const exc_Object *exception)
{
    while (row->Object != nullptr && !exc_matches(row->Object, exception)) ++row;
    return row;
}

char *SupPR_ExceptionToString(const exc_Object *Exception)
{
    INFTR_FUNCTION(SUPPR, "SupPR_ExceptionToString");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p)", static_cast<const void *>(Exception));

    // The order decides where two objects are alike: a region exception that nobody has filled in goes before all.
    const ExceptionRow table[] = {
        {&SUPPR_EXCEPTION_PROCESS, "SUPPR_EXCEPTION_PROCESS"},
        {&SUPPR_EXCEPTION_REGION, "SUPPR_EXCEPTION_REGION"},
        {&pthread_cancel_e, "pthread_cancel_e"},
        {&pthread_badparam_e, "pthread_badparam_e"},
        {&pthread_exit_thread_e, "pthread_exit_thread_e"},
        {&pthread_existence_e, "pthread_existence_e"},
        {&pthread_in_use_e, "pthread_in_use_e"},
        {&pthread_use_error_e, "pthread_use_error_e"},
        {&pthread_nostackmem_e, "pthread_nostackmem_e"},
        {&exc_SIGEMT_e, "exc_e_SIGEMT"},
        {&exc_SIGIOT_e, "exc_e_SIGIOT"},
        {&exc_SIGPIPE_e, "exc_e_SIGPIPE"},
        {&exc_SIGSYS_e, "exc_e_SIGSYS"},
        {&exc_SIGTRAP_e, "exc_e_SIGTRAP"},
        {&exc_aritherr_e, "exc_e_aritherr"},
        {&exc_decovf_e, "exc_e_decovf"},
        {&exc_excpu_e, "exc_e_excpu"},
        {&exc_exfilsiz_e, "exc_e_exfilsiz"},
        {&exc_exquota_e, "exc_e_exquota"},
        {&exc_fltdiv_e, "exc_e_fltdiv"},
        {&exc_fltovf_e, "exc_e_fltovf"},
        {&exc_fltund_e, "exc_e_fltund"},
        {&exc_illaddr_e, "exc_e_illaddr"},
        {&exc_illinstr_e, "exc_e_illinstr"},
        {&exc_insfmem_e, "exc_e_insfmem"},
        {&exc_intdiv_e, "exc_e_intdiv"},
        {&exc_intovf_e, "exc_e_intovf"},
        {&exc_nopriv_e, "exc_e_nopriv"},
        {&exc_privinst_e, "exc_e_privinst"},
        {&exc_resaddr_e, "exc_e_resaddr"},
        {&exc_resoper_e, "exc_e_resoper"},
        {&exc_subrng_e, "exc_e_subrng"},
        {&exc_uninitexc_e, "exc_e_uninitexc"},
        {&rpc_x_assoc_grp_not_found, "rpc_x_assoc_grp_not_found"},
        {&rpc_x_cancel_timeout, "rpc_x_cancel_timeout"},
        {&rpc_x_coding_error, "rpc_x_coding_error"},
        {&rpc_x_comm_failure, "rpc_x_comm_failure"},
        {&rpc_x_context_id_not_found, "rpc_x_context_id_not_found"},
        {&rpc_x_endpoint_not_found, "rpc_x_endpoint_not_found"},
        {&rpc_x_in_args_too_big, "rpc_x_in_args_too_big"},
        {&rpc_x_invalid_binding, "rpc_x_invalid_binding"},
        {&rpc_x_invalid_bound, "rpc_x_invalid_bound"},
        {&rpc_x_invalid_call_opt, "rpc_x_invalid_call_opt"},
        {&rpc_x_invalid_naf_id, "rpc_x_invalid_naf_id"},
        {&rpc_x_invalid_rpc_protseq, "rpc_x_invalid_rpc_protseq"},
        {&rpc_x_invalid_tag, "rpc_x_invalid_tag"},
        {&rpc_x_invalid_timeout, "rpc_x_invalid_timeout"},
        {&rpc_x_manager_not_entered, "rpc_x_manager_not_entered"},
        {&rpc_x_max_descs_exceeded, "rpc_x_max_descs_exceeded"},
        {&rpc_x_no_fault, "rpc_x_no_fault"},
        {&rpc_x_no_memory, "rpc_x_no_memory"},
        {&rpc_x_not_rpc_tower, "rpc_x_not_rpc_tower"},
        {&rpc_x_object_not_found, "rpc_x_object_not_found"},
        {&rpc_x_op_rng_error, "rpc_x_op_rng_error"},
        {&rpc_x_protocol_error, "rpc_x_protocol_error"},
        {&rpc_x_protseq_not_supported, "rpc_x_protseq_not_supported"},
        {&rpc_x_rpcd_comm_failure, "rpc_x_rpcd_comm_failure"},
        {&rpc_x_server_too_busy, "rpc_x_server_too_busy"},
        {&rpc_x_unknown_if, "rpc_x_unknown_if"},
        {&rpc_x_unknown_error, "rpc_x_unknown_error"},
        {&rpc_x_unknown_mgr_type, "rpc_x_unknown_mgr_type"},
        {&rpc_x_unknown_reject, "rpc_x_unknown_reject"},
        {&rpc_x_unknown_remote_fault, "rpc_x_unknown_remote_fault"},
        {&rpc_x_unsupported_type, "rpc_x_unsupported_type"},
        {&rpc_x_who_are_you_failed, "rpc_x_who_are_you_failed"},
        {&rpc_x_wrong_boot_time, "rpc_x_wrong_boot_time"},
        {&rpc_x_wrong_kind_of_binding, "rpc_x_wrong_kind_of_binding"},
        {&uuid_x_getconf_failure, "uuid_x_getconf_failure"},
        {&uuid_x_internal_error, "uuid_x_internal_error"},
        {&uuid_x_no_address, "uuid_x_no_address"},
        {&uuid_x_socket_failure, "uuid_x_socket_failure"},
        {&rpc_x_access_control_info_inv, "rpc_x_access_control_info_inv"},
        {&rpc_x_assoc_grp_max_exceeded, "rpc_x_assoc_grp_max_exceeded"},
        {&rpc_x_assoc_shutdown, "rpc_x_assoc_shutdown"},
        {&rpc_x_cannot_accept, "rpc_x_cannot_accept"},
        {&rpc_x_cannot_connect, "rpc_x_cannot_connect"},
        {&rpc_x_cant_inq_socket, "rpc_x_cant_inq_socket"},
        {&rpc_x_connect_closed_by_rem, "rpc_x_connect_closed_by_rem"},
        {&rpc_x_connect_no_resources, "rpc_x_connect_no_resources"},
        {&rpc_x_connect_rejected, "rpc_x_connect_rejected"},
        {&rpc_x_connect_timed_out, "rpc_x_connect_timed_out"},
        {&rpc_x_connection_aborted, "rpc_x_connection_aborted"},
        {&rpc_x_connection_closed, "rpc_x_connection_closed"},
        {&rpc_x_host_unreachable, "rpc_x_host_unreachable"},
        {&rpc_x_invalid_endpoint_format, "rpc_x_invalid_endpoint_format"},
        {&rpc_x_loc_connect_aborted, "rpc_x_loc_connect_aborted"},
        {&rpc_x_network_unreachable, "rpc_x_network_unreachable"},
        {&rpc_x_no_rem_endpoint, "rpc_x_no_rem_endpoint"},
        {&rpc_x_rem_host_crashed, "rpc_x_rem_host_crashed"},
        {&rpc_x_rem_host_down, "rpc_x_rem_host_down"},
        {&rpc_x_rem_network_shutdown, "rpc_x_rem_network_shutdown"},
        {&rpc_x_rpc_prot_version_mismatch, "rpc_x_rpc_prot_version_mismatch"},
        {&rpc_x_string_too_long, "rpc_x_string_too_long"},
        {&rpc_x_too_many_rem_connects, "rpc_x_too_many_rem_connects"},
        {&rpc_x_tsyntaxes_unsupported, "rpc_x_tsyntaxes_unsupported"},
        {&rpc_x_binding_vector_full, "rpc_x_binding_vector_full"},
        {&rpc_x_entry_not_found, "rpc_x_entry_not_found"},
        {&rpc_x_group_not_found, "rpc_x_group_not_found"},
        {&rpc_x_incomplete_name, "rpc_x_incomplete_name"},
        {&rpc_x_invalid_arg, "rpc_x_invalid_arg"},
        {&rpc_x_invalid_import_context, "rpc_x_invalid_import_context"},
        {&rpc_x_invalid_inquiry_context, "rpc_x_invalid_inquiry_context"},
        {&rpc_x_invalid_inquiry_type, "rpc_x_invalid_inquiry_type"},
        {&rpc_x_invalid_lookup_context, "rpc_x_invalid_lookup_context"},
        {&rpc_x_invalid_name_syntax, "rpc_x_invalid_name_syntax"},
        {&rpc_x_invalid_object, "rpc_x_invalid_object"},
        {&rpc_x_invalid_vers_option, "rpc_x_invalid_vers_option"},
        {&rpc_x_name_service_unavailable, "rpc_x_name_service_unavailable"},
        {&rpc_x_no_env_setup, "rpc_x_no_env_setup"},
        {&rpc_x_no_more_bindings, "rpc_x_no_more_bindings"},
        {&rpc_x_no_more_elements, "rpc_x_no_more_elements"},
        {&rpc_x_not_found, "rpc_x_not_found"},
        {&rpc_x_not_rpc_entry, "rpc_x_not_rpc_entry"},
        {&rpc_x_obj_uuid_not_found, "rpc_x_obj_uuid_not_found"},
        {&rpc_x_profile_not_found, "rpc_x_profile_not_found"},
        {&rpc_x_unsupported_name_syntax, "rpc_x_unsupported_name_syntax"},
        {&rpc_x_auth_bad_integrity, "rpc_x_auth_bad_integrity"},
        {&rpc_x_auth_badaddr, "rpc_x_auth_badaddr"},
        {&rpc_x_auth_baddirection, "rpc_x_auth_baddirection"},
        {&rpc_x_auth_badkeyver, "rpc_x_auth_badkeyver"},
        {&rpc_x_auth_badmatch, "rpc_x_auth_badmatch"},
        {&rpc_x_auth_badorder, "rpc_x_auth_badorder"},
        {&rpc_x_auth_badseq, "rpc_x_auth_badseq"},
        {&rpc_x_auth_badversion, "rpc_x_auth_badversion"},
        {&rpc_x_auth_field_toolong, "rpc_x_auth_field_toolong"},
        {&rpc_x_auth_inapp_cksum, "rpc_x_auth_inapp_cksum"},
        {&rpc_x_auth_method, "rpc_x_auth_method"},
        {&rpc_x_auth_msg_type, "rpc_x_auth_msg_type"},
        {&rpc_x_auth_modified, "rpc_x_auth_modified"},
        {&rpc_x_auth_mut_fail, "rpc_x_auth_mut_fail"},
        {&rpc_x_auth_nokey, "rpc_x_auth_nokey"},
        {&rpc_x_auth_not_us, "rpc_x_auth_not_us"},
        {&rpc_x_auth_repeat, "rpc_x_auth_repeat"},
        {&rpc_x_auth_skew, "rpc_x_auth_skew"},
        {&rpc_x_auth_tkt_expired, "rpc_x_auth_tkt_expired"},
        {&rpc_x_auth_tkt_nyv, "rpc_x_auth_tkt_nyv"},
        {&rpc_x_call_id_not_found, "rpc_x_call_id_not_found"},
        {&rpc_x_credentials_too_large, "rpc_x_credentials_too_large"},
        {&rpc_x_invalid_checksum, "rpc_x_invalid_checksum"},
        {&rpc_x_invalid_crc, "rpc_x_invalid_crc"},
        {&rpc_x_invalid_credentials, "rpc_x_invalid_credentials"},
        {&rpc_x_key_id_not_found, "rpc_x_key_id_not_found"},
        {&rpc_x_ss_char_trans_open_fail, "rpc_x_ss_char_trans_open_fail"},
        {&rpc_x_ss_char_trans_short_file, "rpc_x_ss_char_trans_short_file"},
        {&rpc_x_ss_context_damaged, "rpc_x_ss_context_damaged"},
        {&rpc_x_ss_context_mismatch, "rpc_x_ss_context_mismatch"},
        {&rpc_x_ss_in_null_context, "rpc_x_ss_in_null_context"},
        {&rpc_x_ss_pipe_closed, "rpc_x_ss_pipe_closed"},
        {&rpc_x_ss_pipe_comm_error, "rpc_x_ss_pipe_comm_error"},
        {&rpc_x_ss_pipe_discipline_error, "rpc_x_ss_pipe_discipline_error"},
        {&rpc_x_ss_pipe_empty, "rpc_x_ss_pipe_empty"},
        {&rpc_x_ss_pipe_memory, "rpc_x_ss_pipe_memory"},
        {&rpc_x_ss_pipe_order, "rpc_x_ss_pipe_order"},
        {&rpc_x_ss_remote_comm_failure, "rpc_x_ss_remote_comm_failure"},
        {&rpc_x_ss_remote_no_memory, "rpc_x_ss_remote_no_memory"},
        {&rpc_x_ss_bad_buffer, "rpc_x_ss_bad_buffer"},
        {&rpc_x_ss_bad_es_action, "rpc_x_ss_bad_es_action"},
        {&rpc_x_ss_wrong_es_version, "rpc_x_ss_wrong_es_version"},
        {nullptr, "unknown_exception"}, // required: this name is never used
    };
    static_assert(sizeof table / sizeof table[0] == 159);

    const ExceptionRow *row = findRow(table, Exception);
    if (row->Object != nullptr)
        snprintf(resultBuffer, sizeof resultBuffer, "%s", row->Name);
    else
        snprintf(resultBuffer, sizeof resultBuffer, "kind=%#x", Exception->Kind);
    char *const result = resultBuffer;
    INFTR_RETURN_VALUE(1, result);
}
