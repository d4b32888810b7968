// The tables of statuses and exceptions: one row a status, with the exception of the same meaning and a text for people.

#include "qrt_tables.h"

#include "qrt_exceptions.h"
#include "rpc_status.h"

// Objects of the thread library: numbers of our own, in the order of this list.
// clang-format off
#define THREAD_OBJECTS(ROW) \
    ROW(1, pthread_cancel_e) \
    ROW(2, pthread_badparam_e) \
    ROW(3, pthread_exit_thread_e) \
    ROW(4, pthread_existence_e) \
    ROW(5, pthread_in_use_e) \
    ROW(6, pthread_use_error_e) \
    ROW(7, pthread_nostackmem_e) \
    ROW(8, exc_SIGEMT_e) \
    ROW(9, exc_SIGIOT_e) \
    ROW(10, exc_SIGPIPE_e) \
    ROW(11, exc_SIGSYS_e) \
    ROW(12, exc_SIGTRAP_e) \
    ROW(13, exc_aritherr_e) \
    ROW(14, exc_decovf_e) \
    ROW(15, exc_excpu_e) \
    ROW(16, exc_exfilsiz_e) \
    ROW(17, exc_exquota_e) \
    ROW(18, exc_fltdiv_e) \
    ROW(19, exc_fltovf_e) \
    ROW(20, exc_fltund_e) \
    ROW(21, exc_illaddr_e) \
    ROW(22, exc_illinstr_e) \
    ROW(23, exc_insfmem_e) \
    ROW(24, exc_intdiv_e) \
    ROW(25, exc_intovf_e) \
    ROW(26, exc_nopriv_e) \
    ROW(27, exc_privinst_e) \
    ROW(28, exc_resaddr_e) \
    ROW(29, exc_resoper_e) \
    ROW(30, exc_subrng_e) \
    ROW(31, exc_uninitexc_e)

// Objects that stand for a status.
#define STATUS_OBJECTS(ROW) \
    ROW(rpc_s_op_rng_error, rpc_x_op_rng_error) \
    ROW(rpc_s_wrong_boot_time, rpc_x_wrong_boot_time) \
    ROW(rpc_s_in_args_too_big, rpc_x_in_args_too_big) \
    ROW(rpc_s_string_too_long, rpc_x_string_too_long) \
    ROW(rpc_s_no_memory, rpc_x_no_memory) \
    ROW(rpc_s_comm_failure, rpc_x_comm_failure) \
    ROW(rpc_s_rpcd_comm_failure, rpc_x_rpcd_comm_failure) \
    ROW(rpc_s_coding_error, rpc_x_coding_error) \
    ROW(rpc_s_object_not_found, rpc_x_object_not_found) \
    ROW(rpc_s_invalid_binding, rpc_x_invalid_binding) \
    ROW(rpc_s_endpoint_not_found, rpc_x_endpoint_not_found) \
    ROW(rpc_s_invalid_rpc_protseq, rpc_x_invalid_rpc_protseq) \
    ROW(rpc_s_max_descs_exceeded, rpc_x_max_descs_exceeded) \
    ROW(rpc_s_invalid_timeout, rpc_x_invalid_timeout) \
    ROW(rpc_s_cant_inq_socket, rpc_x_cant_inq_socket) \
    ROW(rpc_s_invalid_naf_id, rpc_x_invalid_naf_id) \
    ROW(rpc_s_unknown_if, rpc_x_unknown_if) \
    ROW(rpc_s_unsupported_type, rpc_x_unsupported_type) \
    ROW(rpc_s_invalid_call_opt, rpc_x_invalid_call_opt) \
    ROW(rpc_s_no_fault, rpc_x_no_fault) \
    ROW(rpc_s_cancel_timeout, rpc_x_cancel_timeout) \
    ROW(rpc_s_cannot_connect, rpc_x_cannot_connect) \
    ROW(rpc_s_connection_aborted, rpc_x_connection_aborted) \
    ROW(rpc_s_connection_closed, rpc_x_connection_closed) \
    ROW(rpc_s_cannot_accept, rpc_x_cannot_accept) \
    ROW(rpc_s_assoc_grp_not_found, rpc_x_assoc_grp_not_found) \
    ROW(rpc_s_invalid_object, rpc_x_invalid_object) \
    ROW(rpc_s_protocol_error, rpc_x_protocol_error) \
    ROW(rpc_s_connect_timed_out, rpc_x_connect_timed_out) \
    ROW(rpc_s_connect_rejected, rpc_x_connect_rejected) \
    ROW(rpc_s_network_unreachable, rpc_x_network_unreachable) \
    ROW(rpc_s_connect_no_resources, rpc_x_connect_no_resources) \
    ROW(rpc_s_rem_network_shutdown, rpc_x_rem_network_shutdown) \
    ROW(rpc_s_too_many_rem_connects, rpc_x_too_many_rem_connects) \
    ROW(rpc_s_no_rem_endpoint, rpc_x_no_rem_endpoint) \
    ROW(rpc_s_rem_host_down, rpc_x_rem_host_down) \
    ROW(rpc_s_host_unreachable, rpc_x_host_unreachable) \
    ROW(rpc_s_access_control_info_inv, rpc_x_access_control_info_inv) \
    ROW(rpc_s_loc_connect_aborted, rpc_x_loc_connect_aborted) \
    ROW(rpc_s_connect_closed_by_rem, rpc_x_connect_closed_by_rem) \
    ROW(rpc_s_rem_host_crashed, rpc_x_rem_host_crashed) \
    ROW(rpc_s_invalid_endpoint_format, rpc_x_invalid_endpoint_format) \
    ROW(rpc_s_unknown_mgr_type, rpc_x_unknown_mgr_type) \
    ROW(rpc_s_assoc_grp_max_exceeded, rpc_x_assoc_grp_max_exceeded) \
    ROW(rpc_s_assoc_shutdown, rpc_x_assoc_shutdown) \
    ROW(rpc_s_tsyntaxes_unsupported, rpc_x_tsyntaxes_unsupported) \
    ROW(rpc_s_context_id_not_found, rpc_x_context_id_not_found) \
    ROW(rpc_s_protseq_not_supported, rpc_x_protseq_not_supported) \
    ROW(rpc_s_who_are_you_failed, rpc_x_who_are_you_failed) \
    ROW(rpc_s_unknown_reject, rpc_x_unknown_reject) \
    ROW(rpc_s_invalid_arg, rpc_x_invalid_arg) \
    ROW(rpc_s_wrong_kind_of_binding, rpc_x_wrong_kind_of_binding) \
    ROW(rpc_s_not_rpc_tower, rpc_x_not_rpc_tower) \
    ROW(rpc_s_manager_not_entered, rpc_x_manager_not_entered) \
    ROW(rpc_s_server_too_busy, rpc_x_server_too_busy) \
    ROW(rpc_s_rpc_prot_version_mismatch, rpc_x_rpc_prot_version_mismatch) \
    ROW(rpc_s_fault_context_mismatch, rpc_x_ss_context_mismatch) \
    ROW(rpc_s_fault_invalid_bound, rpc_x_invalid_bound) \
    ROW(rpc_s_fault_invalid_tag, rpc_x_invalid_tag) \
    ROW(rpc_s_fault_pipe_closed, rpc_x_ss_pipe_closed) \
    ROW(rpc_s_fault_pipe_comm_error, rpc_x_ss_pipe_comm_error) \
    ROW(rpc_s_fault_pipe_discipline_error, rpc_x_ss_pipe_discipline_error) \
    ROW(rpc_s_fault_pipe_empty, rpc_x_ss_pipe_empty) \
    ROW(rpc_s_fault_pipe_memory, rpc_x_ss_pipe_memory) \
    ROW(rpc_s_fault_pipe_order, rpc_x_ss_pipe_order) \
    ROW(rpc_s_fault_remote_comm_failure, rpc_x_ss_remote_comm_failure) \
    ROW(rpc_s_fault_remote_no_memory, rpc_x_ss_remote_no_memory) \
    ROW(rpc_s_fault_unspec, rpc_x_unknown_remote_fault) \
    ROW(uuid_s_socket_failure, uuid_x_socket_failure) \
    ROW(uuid_s_getconf_failure, uuid_x_getconf_failure) \
    ROW(uuid_s_no_address, uuid_x_no_address) \
    ROW(uuid_s_internal_error, uuid_x_internal_error) \
    ROW(rpc_s_name_service_unavailable, rpc_x_name_service_unavailable) \
    ROW(rpc_s_incomplete_name, rpc_x_incomplete_name) \
    ROW(rpc_s_group_not_found, rpc_x_group_not_found) \
    ROW(rpc_s_invalid_name_syntax, rpc_x_invalid_name_syntax) \
    ROW(rpc_s_profile_not_found, rpc_x_profile_not_found) \
    ROW(rpc_s_not_found, rpc_x_not_found) \
    ROW(rpc_s_entry_not_found, rpc_x_entry_not_found) \
    ROW(rpc_s_invalid_inquiry_context, rpc_x_invalid_inquiry_context) \
    ROW(rpc_s_unsupported_name_syntax, rpc_x_unsupported_name_syntax) \
    ROW(rpc_s_no_more_elements, rpc_x_no_more_elements) \
    ROW(rpc_s_invalid_inquiry_type, rpc_x_invalid_inquiry_type) \
    ROW(rpc_s_invalid_import_context, rpc_x_invalid_import_context) \
    ROW(rpc_s_obj_uuid_not_found, rpc_x_obj_uuid_not_found) \
    ROW(rpc_s_no_more_bindings, rpc_x_no_more_bindings) \
    ROW(rpc_s_not_rpc_entry, rpc_x_not_rpc_entry) \
    ROW(rpc_s_invalid_lookup_context, rpc_x_invalid_lookup_context) \
    ROW(rpc_s_binding_vector_full, rpc_x_binding_vector_full) \
    ROW(rpc_s_invalid_vers_option, rpc_x_invalid_vers_option) \
    ROW(rpc_s_no_env_setup, rpc_x_no_env_setup) \
    ROW(rpc_s_unknown_error, rpc_x_unknown_error) \
    ROW(rpc_s_ss_char_trans_open_fail, rpc_x_ss_char_trans_open_fail) \
    ROW(rpc_s_ss_char_trans_short_file, rpc_x_ss_char_trans_short_file) \
    ROW(rpc_s_ss_context_damaged, rpc_x_ss_context_damaged) \
    ROW(rpc_s_ss_in_null_context, rpc_x_ss_in_null_context) \
    ROW(rpc_s_invalid_checksum, rpc_x_invalid_checksum) \
    ROW(rpc_s_invalid_credentials, rpc_x_invalid_credentials) \
    ROW(rpc_s_credentials_too_large, rpc_x_credentials_too_large) \
    ROW(rpc_s_call_id_not_found, rpc_x_call_id_not_found) \
    ROW(rpc_s_key_id_not_found, rpc_x_key_id_not_found) \
    ROW(rpc_s_auth_bad_integrity, rpc_x_auth_bad_integrity) \
    ROW(rpc_s_auth_tkt_expired, rpc_x_auth_tkt_expired) \
    ROW(rpc_s_auth_tkt_nyv, rpc_x_auth_tkt_nyv) \
    ROW(rpc_s_auth_repeat, rpc_x_auth_repeat) \
    ROW(rpc_s_auth_not_us, rpc_x_auth_not_us) \
    ROW(rpc_s_auth_badmatch, rpc_x_auth_badmatch) \
    ROW(rpc_s_auth_skew, rpc_x_auth_skew) \
    ROW(rpc_s_auth_badaddr, rpc_x_auth_badaddr) \
    ROW(rpc_s_auth_badversion, rpc_x_auth_badversion) \
    ROW(rpc_s_auth_msg_type, rpc_x_auth_msg_type) \
    ROW(rpc_s_auth_modified, rpc_x_auth_modified) \
    ROW(rpc_s_auth_badorder, rpc_x_auth_badorder) \
    ROW(rpc_s_auth_badkeyver, rpc_x_auth_badkeyver) \
    ROW(rpc_s_auth_nokey, rpc_x_auth_nokey) \
    ROW(rpc_s_auth_mut_fail, rpc_x_auth_mut_fail) \
    ROW(rpc_s_auth_baddirection, rpc_x_auth_baddirection) \
    ROW(rpc_s_auth_method, rpc_x_auth_method) \
    ROW(rpc_s_auth_badseq, rpc_x_auth_badseq) \
    ROW(rpc_s_auth_inapp_cksum, rpc_x_auth_inapp_cksum) \
    ROW(rpc_s_auth_field_toolong, rpc_x_auth_field_toolong) \
    ROW(rpc_s_invalid_crc, rpc_x_invalid_crc) \
    ROW(rpc_s_ss_bad_buffer, rpc_x_ss_bad_buffer) \
    ROW(rpc_s_ss_bad_es_action, rpc_x_ss_bad_es_action) \
    ROW(rpc_s_ss_wrong_es_version, rpc_x_ss_wrong_es_version)

#define DEFINE_THREAD(Number, Name) const exc_Object Name = {EXC_KIND_THREAD, Number};
#define DEFINE_STATUS(Status, Name) const exc_Object Name = {EXC_KIND_STATUS, Status};
THREAD_OBJECTS(DEFINE_THREAD)
STATUS_OBJECTS(DEFINE_STATUS)

#define NAME_ROW(Number, Name) {&Name, #Name},
const Qrt_ExceptionRow Qrt_ExceptionTable[QRT_EXCEPTION_COUNT] = {THREAD_OBJECTS(NAME_ROW) STATUS_OBJECTS(NAME_ROW)};

// Sorted by status; the texts are what dce_error_inq_text shows.
const Qrt_StatusRow Qrt_StatusTable[] = {
    {rpc_s_op_rng_error, &rpc_x_op_rng_error, "operation range error"},
    {rpc_s_wrong_boot_time, &rpc_x_wrong_boot_time, "wrong boot time"},
    {rpc_s_in_args_too_big, &rpc_x_in_args_too_big, "in arguments too big"},
    {rpc_s_string_too_long, &rpc_x_string_too_long, "string too long"},
    {rpc_s_no_memory, &rpc_x_no_memory, "out of memory"},
    {rpc_s_comm_failure, &rpc_x_comm_failure, "communication failure"},
    {rpc_s_rpcd_comm_failure, &rpc_x_rpcd_comm_failure, "communication with the endpoint mapper failed"},
    {rpc_s_coding_error, &rpc_x_coding_error, "coding error"},
    {rpc_s_object_not_found, &rpc_x_object_not_found, "object not found"},
    {rpc_s_invalid_binding, &rpc_x_invalid_binding, "invalid binding"},
    {rpc_s_endpoint_not_found, &rpc_x_endpoint_not_found, "endpoint not found"},
    {rpc_s_invalid_rpc_protseq, &rpc_x_invalid_rpc_protseq, "malformed or unknown protocol sequence"},
    {rpc_s_max_descs_exceeded, &rpc_x_max_descs_exceeded, "maximum descriptors exceeded"},
    {rpc_s_invalid_timeout, &rpc_x_invalid_timeout, "invalid timeout"},
    {rpc_s_cant_inq_socket, &rpc_x_cant_inq_socket, "cant inquire of socket"},
    {rpc_s_invalid_naf_id, &rpc_x_invalid_naf_id, "invalid address family identifier"},
    {rpc_s_inval_net_addr, &rpc_x_unknown_error, "network address invalid or unknown"},
    {rpc_s_unknown_if, &rpc_x_unknown_if, "interface unknown to the server"},
    {rpc_s_unsupported_type, &rpc_x_unsupported_type, "unsupported type"},
    {rpc_s_invalid_call_opt, &rpc_x_invalid_call_opt, "invalid call option"},
    {rpc_s_no_fault, &rpc_x_no_fault, "no fault"},
    {rpc_s_cancel_timeout, &rpc_x_cancel_timeout, "cancel timeout"},
    {rpc_s_call_cancelled, &pthread_cancel_e, "call cancelled"},
    {rpc_s_cannot_connect, &rpc_x_cannot_connect, "cannot connect"},
    {rpc_s_connection_aborted, &rpc_x_connection_aborted, "connection aborted"},
    {rpc_s_connection_closed, &rpc_x_connection_closed, "connection closed"},
    {rpc_s_cannot_accept, &rpc_x_cannot_accept, "cannot accept"},
    {rpc_s_assoc_grp_not_found, &rpc_x_assoc_grp_not_found, "association group not found"},
    {rpc_s_invalid_object, &rpc_x_invalid_object, "invalid object"},
    {rpc_s_invalid_type, &rpc_x_unknown_error, "invalid type"},
    {rpc_s_protocol_error, &rpc_x_protocol_error, "protocol error"},
    {rpc_s_invalid_string_binding, &rpc_x_unknown_error, "malformed string binding"},
    {rpc_s_connect_timed_out, &rpc_x_connect_timed_out, "no connection in time"},
    {rpc_s_connect_rejected, &rpc_x_connect_rejected, "connection refused"},
    {rpc_s_network_unreachable, &rpc_x_network_unreachable, "network unreachable"},
    {rpc_s_connect_no_resources, &rpc_x_connect_no_resources, "connect no resources"},
    {rpc_s_rem_network_shutdown, &rpc_x_rem_network_shutdown, "remote network shutdown"},
    {rpc_s_too_many_rem_connects, &rpc_x_too_many_rem_connects, "too many remote connects"},
    {rpc_s_no_rem_endpoint, &rpc_x_no_rem_endpoint, "no such endpoint at the server"},
    {rpc_s_rem_host_down, &rpc_x_rem_host_down, "remote host down"},
    {rpc_s_host_unreachable, &rpc_x_host_unreachable, "host unreachable"},
    {rpc_s_access_control_info_inv, &rpc_x_access_control_info_inv, "access control info invalid"},
    {rpc_s_loc_connect_aborted, &rpc_x_loc_connect_aborted, "local connect aborted"},
    {rpc_s_connect_closed_by_rem, &rpc_x_connect_closed_by_rem, "connection closed by the server"},
    {rpc_s_rem_host_crashed, &rpc_x_rem_host_crashed, "remote host crashed"},
    {rpc_s_invalid_endpoint_format, &rpc_x_invalid_endpoint_format, "malformed endpoint"},
    {rpc_s_unknown_mgr_type, &rpc_x_unknown_mgr_type, "manager type unknown"},
    {rpc_s_assoc_grp_max_exceeded, &rpc_x_assoc_grp_max_exceeded, "association group maximum exceeded"},
    {rpc_s_assoc_shutdown, &rpc_x_assoc_shutdown, "association shutdown"},
    {rpc_s_tsyntaxes_unsupported, &rpc_x_tsyntaxes_unsupported, "transfer syntaxes not supported by the server"},
    {rpc_s_context_id_not_found, &rpc_x_context_id_not_found, "context identifier not found"},
    {rpc_s_protseq_not_supported, &rpc_x_protseq_not_supported, "protocol sequence not supported"},
    {rpc_s_who_are_you_failed, &rpc_x_who_are_you_failed, "who are you failed"},
    {rpc_s_unknown_reject, &rpc_x_unknown_reject, "rejected for an unknown reason"},
    {rpc_s_invalid_arg, &rpc_x_invalid_arg, "invalid argument"},
    {rpc_s_wrong_kind_of_binding, &rpc_x_wrong_kind_of_binding, "wrong kind of binding"},
    {rpc_s_not_rpc_tower, &rpc_x_not_rpc_tower, "not RPC tower"},
    {rpc_s_call_timeout, &rpc_x_comm_failure, "no answer in time"},
    {rpc_s_mgmt_op_disallowed, &rpc_x_unknown_error, "management operation refused"},
    {rpc_s_manager_not_entered, &rpc_x_manager_not_entered, "manager not entered"},
    {rpc_s_server_too_busy, &rpc_x_server_too_busy, "server too busy"},
    {rpc_s_rpc_prot_version_mismatch, &rpc_x_rpc_prot_version_mismatch, "server does not speak this protocol version"},
    {rpc_s_fault_context_mismatch, &rpc_x_ss_context_mismatch, "context handle unknown to the server"},
    {rpc_s_fault_invalid_bound, &rpc_x_invalid_bound, "array bound or count out of range"},
    {rpc_s_fault_invalid_tag, &rpc_x_invalid_tag, "fault: invalid tag"},
    {rpc_s_fault_pipe_closed, &rpc_x_ss_pipe_closed, "fault: pipe closed"},
    {rpc_s_fault_pipe_comm_error, &rpc_x_ss_pipe_comm_error, "fault: pipe communication error"},
    {rpc_s_fault_pipe_discipline_error, &rpc_x_ss_pipe_discipline_error, "fault: pipe discipline error"},
    {rpc_s_fault_pipe_empty, &rpc_x_ss_pipe_empty, "fault: pipe empty"},
    {rpc_s_fault_pipe_memory, &rpc_x_ss_pipe_memory, "fault: pipe memory"},
    {rpc_s_fault_pipe_order, &rpc_x_ss_pipe_order, "fault: pipe order"},
    {rpc_s_fault_remote_comm_failure, &rpc_x_ss_remote_comm_failure, "fault: remote communication failure"},
    {rpc_s_fault_remote_no_memory, &rpc_x_ss_remote_no_memory, "fault: remote no memory"},
    {rpc_s_fault_unspec, &rpc_x_unknown_remote_fault, "unspecified fault in the server"},
    {uuid_s_socket_failure, &uuid_x_socket_failure, "object identifiers: socket failure"},
    {uuid_s_getconf_failure, &uuid_x_getconf_failure, "object identifiers: getconf failure"},
    {uuid_s_no_address, &uuid_x_no_address, "object identifiers: no address"},
    {uuid_s_internal_error, &uuid_x_internal_error, "object identifiers: internal error"},
    {uuid_s_invalid_string_uuid, &rpc_x_unknown_error, "malformed object identifier text"},
    {rpc_s_name_service_unavailable, &rpc_x_name_service_unavailable, "name service unavailable"},
    {rpc_s_incomplete_name, &rpc_x_incomplete_name, "incomplete name"},
    {rpc_s_group_not_found, &rpc_x_group_not_found, "group not found"},
    {rpc_s_invalid_name_syntax, &rpc_x_invalid_name_syntax, "invalid name syntax"},
    {rpc_s_profile_not_found, &rpc_x_profile_not_found, "profile not found"},
    {rpc_s_not_found, &rpc_x_not_found, "not found"},
    {rpc_s_entry_not_found, &rpc_x_entry_not_found, "entry not found"},
    {rpc_s_invalid_inquiry_context, &rpc_x_invalid_inquiry_context, "invalid inquiry context"},
    {rpc_s_unsupported_name_syntax, &rpc_x_unsupported_name_syntax, "unsupported name syntax"},
    {rpc_s_no_more_elements, &rpc_x_no_more_elements, "no more elements"},
    {rpc_s_invalid_inquiry_type, &rpc_x_invalid_inquiry_type, "invalid inquiry type"},
    {rpc_s_invalid_import_context, &rpc_x_invalid_import_context, "invalid import context"},
    {rpc_s_obj_uuid_not_found, &rpc_x_obj_uuid_not_found, "object identifier not found"},
    {rpc_s_no_more_bindings, &rpc_x_no_more_bindings, "no more bindings"},
    {rpc_s_not_rpc_entry, &rpc_x_not_rpc_entry, "not RPC entry"},
    {rpc_s_invalid_lookup_context, &rpc_x_invalid_lookup_context, "invalid lookup context"},
    {rpc_s_binding_vector_full, &rpc_x_binding_vector_full, "binding vector full"},
    {rpc_s_invalid_vers_option, &rpc_x_invalid_vers_option, "invalid version option"},
    {rpc_s_no_env_setup, &rpc_x_no_env_setup, "no environment setup"},
    {rpc_s_unknown_error, &rpc_x_unknown_error, "unknown error"},
    {rpc_s_ss_char_trans_open_fail, &rpc_x_ss_char_trans_open_fail, "stub: character translation open failed"},
    {rpc_s_ss_char_trans_short_file, &rpc_x_ss_char_trans_short_file, "stub: character translation short file"},
    {rpc_s_ss_context_damaged, &rpc_x_ss_context_damaged, "stub: context damaged"},
    {rpc_s_ss_in_null_context, &rpc_x_ss_in_null_context, "stub: in null context"},
    {rpc_s_invalid_checksum, &rpc_x_invalid_checksum, "invalid checksum"},
    {rpc_s_invalid_credentials, &rpc_x_invalid_credentials, "invalid credentials"},
    {rpc_s_credentials_too_large, &rpc_x_credentials_too_large, "credentials too large"},
    {rpc_s_call_id_not_found, &rpc_x_call_id_not_found, "call identifier not found"},
    {rpc_s_key_id_not_found, &rpc_x_key_id_not_found, "key identifier not found"},
    {rpc_s_auth_bad_integrity, &rpc_x_auth_bad_integrity, "authentication: bad integrity"},
    {rpc_s_auth_tkt_expired, &rpc_x_auth_tkt_expired, "authentication: ticket expired"},
    {rpc_s_auth_tkt_nyv, &rpc_x_auth_tkt_nyv, "authentication: ticket not yet valid"},
    {rpc_s_auth_repeat, &rpc_x_auth_repeat, "authentication: repeat"},
    {rpc_s_auth_not_us, &rpc_x_auth_not_us, "authentication: not us"},
    {rpc_s_auth_badmatch, &rpc_x_auth_badmatch, "authentication: no match"},
    {rpc_s_auth_skew, &rpc_x_auth_skew, "authentication: clock skew"},
    {rpc_s_auth_badaddr, &rpc_x_auth_badaddr, "authentication: wrong address"},
    {rpc_s_auth_badversion, &rpc_x_auth_badversion, "authentication: wrong version"},
    {rpc_s_auth_msg_type, &rpc_x_auth_msg_type, "authentication: message type"},
    {rpc_s_auth_modified, &rpc_x_auth_modified, "authentication: modified"},
    {rpc_s_auth_badorder, &rpc_x_auth_badorder, "authentication: wrong order"},
    {rpc_s_auth_badkeyver, &rpc_x_auth_badkeyver, "authentication: wrong key version"},
    {rpc_s_auth_nokey, &rpc_x_auth_nokey, "authentication: no key"},
    {rpc_s_auth_mut_fail, &rpc_x_auth_mut_fail, "authentication: mutual failed"},
    {rpc_s_auth_baddirection, &rpc_x_auth_baddirection, "authentication: wrong direction"},
    {rpc_s_auth_method, &rpc_x_auth_method, "authentication: method"},
    {rpc_s_auth_badseq, &rpc_x_auth_badseq, "authentication: wrong sequence"},
    {rpc_s_auth_inapp_cksum, &rpc_x_auth_inapp_cksum, "authentication: inappropriate checksum"},
    {rpc_s_auth_field_toolong, &rpc_x_auth_field_toolong, "authentication: field too long"},
    {rpc_s_invalid_crc, &rpc_x_invalid_crc, "invalid CRC"},
    {rpc_s_binding_incomplete, &rpc_x_unknown_error, "binding lacks an endpoint and an object"},
    {rpc_s_unknown_ifspec_vers, &rpc_x_unknown_error, "interface specification of unknown version"},
    {rpc_s_not_listening, &rpc_x_unknown_error, "server is not listening"},
    {rpc_s_ss_bad_buffer, &rpc_x_ss_bad_buffer, "stub: bad buffer"},
    {rpc_s_ss_bad_es_action, &rpc_x_ss_bad_es_action, "stub: bad encoding-service action"},
    {rpc_s_ss_wrong_es_version, &rpc_x_ss_wrong_es_version, "stub: wrong encoding-service version"},
};
const size_t Qrt_StatusCount = sizeof Qrt_StatusTable / sizeof Qrt_StatusTable[0];

// Statuses of endpoint mappers, under their published numbers.
const Qrt_StatusRow Qrt_MapperTable[] = {
    {ept_s_cant_perform_op, &rpc_x_unknown_error, "endpoint map: operation not possible"},
    {ept_s_no_memory, &rpc_x_no_memory, "endpoint map: out of memory"},
    {ept_s_database_invalid, &rpc_x_unknown_error, "endpoint map: database invalid"},
    {ept_s_cant_create, &rpc_x_unknown_error, "endpoint map: database cannot be created"},
    {ept_s_cant_access, &rpc_x_unknown_error, "endpoint map: database cannot be read"},
    {ept_s_database_already_open, &rpc_x_unknown_error, "endpoint map: database already open"},
    {ept_s_invalid_entry, &rpc_x_unknown_error, "endpoint map: invalid entry"},
    {ept_s_update_failed, &rpc_x_unknown_error, "endpoint map: update failed"},
    {ept_s_invalid_context, &rpc_x_unknown_error, "endpoint map: invalid lookup handle"},
    {ept_s_not_registered, &rpc_x_unknown_error, "endpoint map: nothing registered"},
    {ept_s_server_unavailable, &rpc_x_unknown_error, "endpoint map: mapper not reachable"},
};
const size_t Qrt_MapperCount = sizeof Qrt_MapperTable / sizeof Qrt_MapperTable[0];

// Arithmetic and address faults have no exception of this runtime: those of the thread library mean the same.
const Qrt_StatusRow Qrt_FaultTable[] = {
    {nca_s_fault_int_div_by_zero, &exc_intdiv_e, "server fault: integer division by zero"},
    {nca_s_fault_addr_error, &exc_illaddr_e, "server fault: address error"},
    {nca_s_fault_fp_div_zero, &exc_fltdiv_e, "server fault: division by a floating-point zero"},
    {nca_s_fault_fp_underflow, &exc_fltund_e, "server fault: floating-point underflow"},
    {nca_s_fault_fp_overflow, &exc_fltovf_e, "server fault: floating-pointeger overflow"},
    {nca_s_fault_invalid_tag, &rpc_x_invalid_tag, "server fault: invalid tag"},
    {nca_s_fault_invalid_bound, &rpc_x_invalid_bound, "server fault: invalid bound"},
    {nca_s_rpc_version_mismatch, &rpc_x_rpc_prot_version_mismatch, "rejected by the server: RPC version mismatch"},
    {nca_s_unspec_reject, &rpc_x_unknown_reject, "rejected by the server: no reason given"},
    {nca_s_bad_actid, &rpc_x_unknown_reject, "rejected by the server: bad activity identifier"},
    {nca_s_who_are_you_failed, &rpc_x_who_are_you_failed, "rejected by the server: who are you failed"},
    {nca_s_manager_not_entered, &rpc_x_manager_not_entered, "rejected by the server: manager not entered"},
    {nca_s_fault_cancel, &pthread_cancel_e, "server fault: cancel"},
    {nca_s_fault_ill_inst, &exc_illinstr_e, "server fault: illegal instruction"},
    {nca_s_fault_fp_error, &exc_aritherr_e, "server fault: floating-point error"},
    {nca_s_fault_int_overflow, &exc_intovf_e, "server fault: integer overflow"},
    {nca_s_fault_unspec, &rpc_x_unknown_remote_fault, "server fault: unspecified"},
    {nca_s_fault_remote_comm_failure, &rpc_x_ss_remote_comm_failure, "server fault: remote communication failure"},
    {nca_s_fault_pipe_empty, &rpc_x_ss_pipe_empty, "server fault: pipe empty"},
    {nca_s_fault_pipe_closed, &rpc_x_ss_pipe_closed, "server fault: pipe closed"},
    {nca_s_fault_pipe_order, &rpc_x_ss_pipe_order, "server fault: pipe order"},
    {nca_s_fault_pipe_discipline, &rpc_x_ss_pipe_discipline_error, "server fault: pipe discipline"},
    {nca_s_fault_pipe_comm_error, &rpc_x_ss_pipe_comm_error, "server fault: pipe communication error"},
    {nca_s_fault_pipe_memory, &rpc_x_ss_pipe_memory, "server fault: pipe memory"},
    {nca_s_fault_context_mismatch, &rpc_x_ss_context_mismatch, "server fault: context mismatch"},
    {nca_s_fault_remote_no_memory, &rpc_x_ss_remote_no_memory, "server fault: remote no memory"},
    {nca_s_invalid_pres_context_id, &rpc_x_context_id_not_found, "rejected by the server: invalid presentation context"},
    {nca_s_invalid_checksum, &rpc_x_invalid_checksum, "rejected by the server: invalid checksum"},
    {nca_s_invalid_crc, &rpc_x_invalid_crc, "rejected by the server: invalid CRC"},
    {nca_s_fault_user_defined, &rpc_x_unknown_remote_fault, "server fault: user defined"},
    {nca_s_fault_tx_open_failed, &rpc_x_unknown_remote_fault, "server fault: transaction open failed"},
    {nca_s_fault_codeset_conv_error, &rpc_x_unknown_remote_fault, "server fault: codeset conversion error"},
    {nca_s_fault_object_not_found, &rpc_x_object_not_found, "server fault: object not found"},
    {nca_s_fault_no_client_stub, &rpc_x_unknown_remote_fault, "server fault: no client stub"},
    {nca_s_comm_failure, &rpc_x_comm_failure, "rejected by the server: communication failure"},
    {nca_s_op_rng_error, &rpc_x_op_rng_error, "rejected by the server: operation number out of range"},
    {nca_s_unk_if, &rpc_x_unknown_if, "rejected by the server: unknown interface"},
    {nca_s_wrong_boot_time, &rpc_x_wrong_boot_time, "rejected by the server: wrong boot time"},
    {nca_s_you_crashed, &rpc_x_unknown_reject, "rejected by the server: you crashed"},
    {nca_s_proto_error, &rpc_x_protocol_error, "rejected by the server: protocol error"},
    {nca_s_out_args_too_big, &rpc_x_unknown_remote_fault, "rejected by the server: output too big"},
    {nca_s_server_too_busy, &rpc_x_server_too_busy, "rejected by the server: server too busy"},
    {nca_s_fault_string_too_long, &rpc_x_string_too_long, "server fault: string too long"},
    {nca_s_unsupported_type, &rpc_x_unsupported_type, "rejected by the server: unsupported type"},
};
const size_t Qrt_FaultCount = sizeof Qrt_FaultTable / sizeof Qrt_FaultTable[0];
// clang-format on
