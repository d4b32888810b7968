#ifndef RPC_STATUS_H
#define RPC_STATUS_H

/* Status numbers of the remote-procedure-call runtime: a base plus the number that the public DCE catalogue gives the
 * name. Numbers that travel in answers of an endpoint mapper keep the published base; see rpc_s_wire. */

#include "plat_types.h"

#define RPC_STATUS_BASE 0x0DCE6000u
#define RPC_WIRE_STATUS_BASE 0x16C9A000u

/* A status of this runtime in the form in which other implementations send it. */
#define rpc_s_wire(Status) ((Status)-RPC_STATUS_BASE + RPC_WIRE_STATUS_BASE)

#define rpc_s_ok 0u
#define uuid_s_ok 0u
#define error_status_ok 0u

#define rpc_s_op_rng_error 0x0DCE6001u
#define rpc_s_wrong_boot_time 0x0DCE6006u
#define rpc_s_in_args_too_big 0x0DCE600Du
#define rpc_s_string_too_long 0x0DCE600Eu
#define rpc_s_no_memory 0x0DCE6012u
#define rpc_s_comm_failure 0x0DCE6016u
#define rpc_s_rpcd_comm_failure 0x0DCE6017u
#define rpc_s_coding_error 0x0DCE601Au
#define rpc_s_object_not_found 0x0DCE601Bu
#define rpc_s_invalid_binding 0x0DCE601Du
#define rpc_s_endpoint_not_found 0x0DCE601Fu
#define rpc_s_invalid_rpc_protseq 0x0DCE6020u
#define rpc_s_max_descs_exceeded 0x0DCE6026u
#define rpc_s_invalid_timeout 0x0DCE6028u
#define rpc_s_cant_inq_socket 0x0DCE6029u
#define rpc_s_invalid_naf_id 0x0DCE602Au
#define rpc_s_inval_net_addr 0x0DCE602Bu
#define rpc_s_unknown_if 0x0DCE602Cu
#define rpc_s_unsupported_type 0x0DCE602Du
#define rpc_s_invalid_call_opt 0x0DCE602Eu
#define rpc_s_no_fault 0x0DCE602Fu
#define rpc_s_cancel_timeout 0x0DCE6030u
#define rpc_s_call_cancelled 0x0DCE6031u
#define rpc_s_cannot_connect 0x0DCE6034u
#define rpc_s_connection_aborted 0x0DCE6035u
#define rpc_s_connection_closed 0x0DCE6036u
#define rpc_s_cannot_accept 0x0DCE6037u
#define rpc_s_assoc_grp_not_found 0x0DCE6038u
#define rpc_s_invalid_object 0x0DCE603Au
#define rpc_s_invalid_type 0x0DCE603Bu
#define rpc_s_protocol_error 0x0DCE603Eu
#define rpc_s_invalid_string_binding 0x0DCE6040u
#define rpc_s_connect_timed_out 0x0DCE6041u
#define rpc_s_connect_rejected 0x0DCE6042u
#define rpc_s_network_unreachable 0x0DCE6043u
#define rpc_s_connect_no_resources 0x0DCE6044u
#define rpc_s_rem_network_shutdown 0x0DCE6045u
#define rpc_s_too_many_rem_connects 0x0DCE6046u
#define rpc_s_no_rem_endpoint 0x0DCE6047u
#define rpc_s_rem_host_down 0x0DCE6048u
#define rpc_s_host_unreachable 0x0DCE6049u
#define rpc_s_access_control_info_inv 0x0DCE604Au
#define rpc_s_loc_connect_aborted 0x0DCE604Bu
#define rpc_s_connect_closed_by_rem 0x0DCE604Cu
#define rpc_s_rem_host_crashed 0x0DCE604Du
#define rpc_s_invalid_endpoint_format 0x0DCE604Eu
#define rpc_s_unknown_mgr_type 0x0DCE6050u
#define rpc_s_assoc_grp_max_exceeded 0x0DCE6052u
#define rpc_s_assoc_shutdown 0x0DCE6056u
#define rpc_s_tsyntaxes_unsupported 0x0DCE6057u
#define rpc_s_context_id_not_found 0x0DCE6058u
#define rpc_s_protseq_not_supported 0x0DCE605Du
#define rpc_s_who_are_you_failed 0x0DCE605Fu
#define rpc_s_unknown_reject 0x0DCE6060u
#define rpc_s_invalid_arg 0x0DCE6063u
#define rpc_s_wrong_kind_of_binding 0x0DCE6065u
#define rpc_s_not_rpc_tower 0x0DCE6069u
#define rpc_s_call_timeout 0x0DCE606Cu
#define rpc_s_mgmt_op_disallowed 0x0DCE606Du
#define rpc_s_manager_not_entered 0x0DCE606Eu
#define rpc_s_server_too_busy 0x0DCE6070u
#define rpc_s_rpc_prot_version_mismatch 0x0DCE6072u
#define rpc_s_fault_context_mismatch 0x0DCE6075u
#define rpc_s_fault_invalid_bound 0x0DCE607Du
#define rpc_s_fault_invalid_tag 0x0DCE607Eu
#define rpc_s_fault_pipe_closed 0x0DCE607Fu
#define rpc_s_fault_pipe_comm_error 0x0DCE6080u
#define rpc_s_fault_pipe_discipline_error 0x0DCE6081u
#define rpc_s_fault_pipe_empty 0x0DCE6082u
#define rpc_s_fault_pipe_memory 0x0DCE6083u
#define rpc_s_fault_pipe_order 0x0DCE6084u
#define rpc_s_fault_remote_comm_failure 0x0DCE6085u
#define rpc_s_fault_remote_no_memory 0x0DCE6086u
#define rpc_s_fault_unspec 0x0DCE6087u
#define uuid_s_socket_failure 0x0DCE6089u
#define uuid_s_getconf_failure 0x0DCE608Au
#define uuid_s_no_address 0x0DCE608Bu
#define uuid_s_internal_error 0x0DCE608Du
#define uuid_s_invalid_string_uuid 0x0DCE608Fu
#define rpc_s_name_service_unavailable 0x0DCE6093u
#define rpc_s_incomplete_name 0x0DCE6094u
#define rpc_s_group_not_found 0x0DCE6095u
#define rpc_s_invalid_name_syntax 0x0DCE6096u
#define rpc_s_profile_not_found 0x0DCE609Bu
#define rpc_s_not_found 0x0DCE609Cu
#define rpc_s_entry_not_found 0x0DCE60A0u
#define rpc_s_invalid_inquiry_context 0x0DCE60A1u
#define rpc_s_unsupported_name_syntax 0x0DCE60A6u
#define rpc_s_no_more_elements 0x0DCE60A7u
#define rpc_s_invalid_inquiry_type 0x0DCE60A9u
#define rpc_s_invalid_import_context 0x0DCE60AEu
#define rpc_s_obj_uuid_not_found 0x0DCE60B4u
#define rpc_s_no_more_bindings 0x0DCE60B5u
#define rpc_s_not_rpc_entry 0x0DCE60B7u
#define rpc_s_invalid_lookup_context 0x0DCE60B8u
#define rpc_s_binding_vector_full 0x0DCE60B9u
#define rpc_s_invalid_vers_option 0x0DCE60BDu
#define rpc_s_no_env_setup 0x0DCE60C4u
#define rpc_s_unknown_error 0x0DCE60DAu
#define rpc_s_ss_char_trans_open_fail 0x0DCE60DBu
#define rpc_s_ss_char_trans_short_file 0x0DCE60DCu
#define rpc_s_ss_context_damaged 0x0DCE60DDu
#define rpc_s_ss_in_null_context 0x0DCE60DEu
#define rpc_s_invalid_checksum 0x0DCE60E1u
#define rpc_s_invalid_credentials 0x0DCE60E2u
#define rpc_s_credentials_too_large 0x0DCE60E3u
#define rpc_s_call_id_not_found 0x0DCE60E4u
#define rpc_s_key_id_not_found 0x0DCE60E5u
#define rpc_s_auth_bad_integrity 0x0DCE60E6u
#define rpc_s_auth_tkt_expired 0x0DCE60E7u
#define rpc_s_auth_tkt_nyv 0x0DCE60E8u
#define rpc_s_auth_repeat 0x0DCE60E9u
#define rpc_s_auth_not_us 0x0DCE60EAu
#define rpc_s_auth_badmatch 0x0DCE60EBu
#define rpc_s_auth_skew 0x0DCE60ECu
#define rpc_s_auth_badaddr 0x0DCE60EDu
#define rpc_s_auth_badversion 0x0DCE60EEu
#define rpc_s_auth_msg_type 0x0DCE60EFu
#define rpc_s_auth_modified 0x0DCE60F0u
#define rpc_s_auth_badorder 0x0DCE60F1u
#define rpc_s_auth_badkeyver 0x0DCE60F2u
#define rpc_s_auth_nokey 0x0DCE60F3u
#define rpc_s_auth_mut_fail 0x0DCE60F4u
#define rpc_s_auth_baddirection 0x0DCE60F5u
#define rpc_s_auth_method 0x0DCE60F6u
#define rpc_s_auth_badseq 0x0DCE60F7u
#define rpc_s_auth_inapp_cksum 0x0DCE60F8u
#define rpc_s_auth_field_toolong 0x0DCE60F9u
#define rpc_s_invalid_crc 0x0DCE60FAu
#define rpc_s_binding_incomplete 0x0DCE60FBu
#define rpc_s_unknown_ifspec_vers 0x0DCE60FEu
#define rpc_s_not_listening 0x0DCE610Fu
#define rpc_s_ss_bad_buffer 0x0DCE6110u
#define rpc_s_ss_bad_es_action 0x0DCE6111u
#define rpc_s_ss_wrong_es_version 0x0DCE6112u

/* Statuses of endpoint mappers, as they come over the wire. */
#define ept_s_ok 0u
#define ept_s_cant_perform_op 0x16C9A0CDu
#define ept_s_no_memory 0x16C9A0CEu
#define ept_s_database_invalid 0x16C9A0CFu
#define ept_s_cant_create 0x16C9A0D0u
#define ept_s_cant_access 0x16C9A0D1u
#define ept_s_database_already_open 0x16C9A0D2u
#define ept_s_invalid_entry 0x16C9A0D3u
#define ept_s_update_failed 0x16C9A0D4u
#define ept_s_invalid_context 0x16C9A0D5u
#define ept_s_not_registered 0x16C9A0D6u
#define ept_s_server_unavailable 0x16C9A0D7u

/* Fault statuses of the protocol (C706 appendices E and N). */
#define nca_s_comm_failure 0x1C010001u
#define nca_s_op_rng_error 0x1C010002u
#define nca_s_unk_if 0x1C010003u
#define nca_s_wrong_boot_time 0x1C010006u
#define nca_s_you_crashed 0x1C010009u
#define nca_s_proto_error 0x1C01000Bu
#define nca_s_out_args_too_big 0x1C010013u
#define nca_s_server_too_busy 0x1C010014u
#define nca_s_fault_string_too_long 0x1C010015u
#define nca_s_unsupported_type 0x1C010017u
#define nca_s_fault_int_div_by_zero 0x1C000001u
#define nca_s_fault_addr_error 0x1C000002u
#define nca_s_fault_fp_div_zero 0x1C000003u
#define nca_s_fault_fp_underflow 0x1C000004u
#define nca_s_fault_fp_overflow 0x1C000005u
#define nca_s_fault_invalid_tag 0x1C000006u
#define nca_s_fault_invalid_bound 0x1C000007u
#define nca_s_rpc_version_mismatch 0x1C000008u
#define nca_s_unspec_reject 0x1C000009u
#define nca_s_bad_actid 0x1C00000Au
#define nca_s_who_are_you_failed 0x1C00000Bu
#define nca_s_manager_not_entered 0x1C00000Cu
#define nca_s_fault_cancel 0x1C00000Du
#define nca_s_fault_ill_inst 0x1C00000Eu
#define nca_s_fault_fp_error 0x1C00000Fu
#define nca_s_fault_int_overflow 0x1C000010u
#define nca_s_fault_unspec 0x1C000012u
#define nca_s_fault_remote_comm_failure 0x1C000013u
#define nca_s_fault_pipe_empty 0x1C000014u
#define nca_s_fault_pipe_closed 0x1C000015u
#define nca_s_fault_pipe_order 0x1C000016u
#define nca_s_fault_pipe_discipline 0x1C000017u
#define nca_s_fault_pipe_comm_error 0x1C000018u
#define nca_s_fault_pipe_memory 0x1C000019u
#define nca_s_fault_context_mismatch 0x1C00001Au
#define nca_s_fault_remote_no_memory 0x1C00001Bu
#define nca_s_invalid_pres_context_id 0x1C00001Cu
#define nca_s_invalid_checksum 0x1C00001Fu
#define nca_s_invalid_crc 0x1C000020u
#define nca_s_fault_user_defined 0x1C000021u
#define nca_s_fault_tx_open_failed 0x1C000022u
#define nca_s_fault_codeset_conv_error 0x1C000023u
#define nca_s_fault_object_not_found 0x1C000024u
#define nca_s_fault_no_client_stub 0x1C000025u

#define RPC_ERROR_TEXT_SIZE 128

PLAT_BEGIN

/* The text of a status or fault status, at most RPC_ERROR_TEXT_SIZE bytes with its end, such as
 * "connection refused (dce / rpc)". Status receives 0, or -1 for an unknown number; the text then holds the number. */
PLAT_API void dce_error_inq_text(u32 StatusToConvert, unsigned char *Text, i32 *Status);

PLAT_END_C

#endif
