// The names of the specification language: 11 groups of components, each component with its number, and the 771 names
// of its debug masks; and the process kinds.
//
// A component's number is the index of its level byte, its message set, and the component field of its records. The
// order of the groups counts: a three-letter key takes the first group that it does not name. Mask names are accepted
// words without effect: the word of every row is 0.

#include "inftr_int.h"

// clang-format off
#define M(Name) {0, Name}
#define MASK_END {0, nullptr}
#define COMPONENT_END {0, nullptr, nullptr}

// ADM
static const InfTR_MaskNameRow maskADMDB[] = {
    M("ADMDB_DEBUG_RD7ADMIN"), M("ADMDB_TDBCONF"), M("ADMDB_TSTANZA"), M("ADMDB_ALL"), MASK_END};
static const InfTR_MaskNameRow maskADMFN[] = {
    M("ADMFN_ARGS"), M("ADMFN_CPIO"), M("ADMFN_DBADM"), M("ADMFN_DCE"), M("ADMFN_DIREC"), M("ADMFN_ERRORS"),
    M("ADMFN_FLOW"), M("ADMFN_LOCKS"), M("ADMFN_PARSE"), M("ADMFN_PING"), M("ADMFN_QUERY"), M("ADMFN_RETURN_CODES"),
    M("ADMFN_SCDAD"), M("ADMFN_RFSLOCK"), M("ADMFN_STATE"), M("ADMFN_UTIL"), M("ADMFN_ALL"), MASK_END};
static const InfTR_MaskNameRow maskADMGY[] = {M("ADMGY_DEBUG_ALL"), M("ADMGY_XGWLOCK"), M("ADMGY_ALL"), MASK_END};
static const InfTR_MaskNameRow maskADMLG[] = {
    M("ADMLG_DCE"), M("ADMLG_DEFSVRS"), M("ADMLG_ERRORS"), M("ADMLG_FLOW"), M("ADMLG_PING"), M("ADMLG_ALL"), MASK_END};
static const InfTR_MaskNameRow maskADMSA[] = {
    M("ADMSA_ARGS"), M("ADMSA_ERRORS"), M("ADMSA_FLOW"), M("ADMSA_FUNCTION_CALLS"), M("ADMSA_GTI"),
    M("ADMSA_RETURN_CODES"), M("ADMSA_STATE"), M("ADMSA_ALL"), MASK_END};
static const InfTR_MaskNameRow maskADMSC[] = {
    M("ADMSC_DEBUG_CALF"), M("ADMSC_DEBUG_RD7IMPORT"), M("ADMSC_DEBUG_RD7LIST"), M("ADMSC_DEBUG_DETAIL"),
    M("ADMSC_DEBUG_SCDADD"), M("ADMSC_DEBUG_RFSIMPORT"), M("ADMSC_XDT_GENERAL"), M("ADMSC_ALL"), MASK_END};
static const InfTR_MaskNameRow maskADMSF[] = {
    M("ADMSF_DEBUG_ALL"), M("ADMSF_DEBUG_CONF"), M("ADMSF_DEBUG_DBADMIN"), M("ADMSF_DEBUG_RFSADMIN"), M("ADMSF_ALL"),
    MASK_END};

// COM
static const InfTR_MaskNameRow maskCOMCB[] = {
    M("COMCB_TABEND"), M("COMCB_TERROR"), M("COMCB_TINFO"), M("COMCB_TWARN"), M("COMCB_ALL"), MASK_END};
static const InfTR_MaskNameRow maskCOMCL[] = {
    M("COMCL_TABEND"), M("COMCL_TALL"), M("COMCL_TAVERB"), M("COMCL_TCCIN"), M("COMCL_TCTIN"), M("COMCL_TERROR"),
    M("COMCL_TINFO"), M("COMCL_TMEMORY"), M("COMCL_TWARN"), M("COMCL_TXMBUFF"), M("COMCL_ALL"), MASK_END};
static const InfTR_MaskNameRow maskCOMCR[] = {
    M("COMCR_TERROR"), M("COMCR_TINFO"), M("COMCR_TTEST"), M("COMCR_ALL"), MASK_END};
static const InfTR_MaskNameRow maskCOMDL[] = {
    M("COMDL_TABEND"), M("COMDL_TERROR"), M("COMDL_TINFO"), M("COMDL_TWARN"), M("COMDL_ALL"), MASK_END};
static const InfTR_MaskNameRow maskCOMDP[] = {
    M("COMDP_TABEND"), M("COMDP_TERROR"), M("COMDP_TINFO"), M("COMDP_TWARN"), M("COMDP_ALL"), MASK_END};
static const InfTR_MaskNameRow maskCOMFS[] = {
    M("COMFS_TABEND"), M("COMFS_TAVERB"), M("COMFS_TERROR"), M("COMFS_TINFO"), M("COMFS_TWARN"), M("COMFS_TXMBUFF"),
    M("COMFS_ALL"), MASK_END};
static const InfTR_MaskNameRow maskCOMIP[] = {
    M("COMIP_TABEND"), M("COMIP_TERROR"), M("COMIP_TINFO"), M("COMIP_TWARN"), M("COMIP_ALL"), MASK_END};
static const InfTR_MaskNameRow maskCOMLQ[] = {
    M("COMLQ_TBUFF"), M("COMLQ_TERROR"), M("COMLQ_TINFO"), M("COMLQ_ALL"), MASK_END};
static const InfTR_MaskNameRow maskCOMLU[] = {
    M("COMLU_ERROR"), M("COMLU_EVENT"), M("COMLU_INFO"), M("COMLU_ALL"), MASK_END};
static const InfTR_MaskNameRow maskCOMOL[] = {
    M("COMOL_TABEND"), M("COMOL_TERROR"), M("COMOL_TINFO"), M("COMOL_TWARN"), M("COMOL_ALL"), MASK_END};
static const InfTR_MaskNameRow maskCOMRL[] = {
    M("COMRL_DUMP"), M("COMRL_TADD"), M("COMRL_TCDSRL"), M("COMRL_TCOMSCH"), M("COMRL_TINFO"), M("COMRL_TMANAGER"),
    M("COMRL_TREG"), M("COMRL_TSERVER"), M("COMRL_TSTOP"), M("COMRL_TTSCH"), M("COMRL_TUTIL"), M("COMRL_ALL"),
    MASK_END};
static const InfTR_MaskNameRow maskCOMRS[] = {
    M("COMRS_TABEND"), M("COMRS_TALL"), M("COMRS_TAVERB"), M("COMRS_TERROR"), M("COMRS_TINFO"), M("COMRS_TXMBUFF"),
    M("COMRS_ALL"), MASK_END};
static const InfTR_MaskNameRow maskCOMSN[] = {
    M("COMSN_TABEND"), M("COMSN_TALL"), M("COMSN_TAVERB"), M("COMSN_TERROR"), M("COMSN_TINFO"), M("COMSN_TMEMORY"),
    M("COMSN_TWARN"), M("COMSN_TXMBUFF"), M("COMSN_ALL"), MASK_END};
static const InfTR_MaskNameRow maskCOMSU[] = {
    M("COMSU_TABEND"), M("COMSU_TAVERB"), M("COMSU_TERROR"), M("COMSU_TINFO"), M("COMSU_TWARN"), M("COMSU_TXMBUFF"),
    M("COMSU_ALL"), MASK_END};
static const InfTR_MaskNameRow maskCOMTR[] = {
    M("COMTR_TABEND"), M("COMTR_TALL"), M("COMTR_TAVERB"), M("COMTR_TERROR"), M("COMTR_TINFO"), M("COMTR_TTIOBUF"),
    M("COMTR_TWARN"), M("COMTR_TXFBUFF"), M("COMTR_ALL"), MASK_END};

// DAM
static const InfTR_MaskNameRow maskDAMBR[] = {
    M("DAMBR_DEBUG_VEBR"), M("DAMBR_DEBUG_DETAIL"), M("DAMBR_ALL"), MASK_END};
static const InfTR_MaskNameRow maskDAMDB[] = {
    M("DAMDB_BUFFER"), M("DAMDB_DATA"), M("DAMDB_DETAIL"), M("DAMDB_DUMP"), M("DAMDB_ERROR"), M("DAMDB_HANDLE"),
    M("DAMDB_INFO"), M("DAMDB_INSH"), M("DAMDB_INTRO"), M("DAMDB_READ"), M("DAMDB_STATE"), M("DAMDB_VALIDATE"),
    M("DAMDB_WRITE"), M("DAMDB_ALL"), MASK_END};
static const InfTR_MaskNameRow maskDAMFH[] = {
    M("DAMFH_CINT_TRACE"), M("DAMFH_COB_TRACE"), M("DAMFH_SQL_TRACE"), M("DAMFH_XFH_TRACE"), M("DAMFH_ALL"), MASK_END};
static const InfTR_MaskNameRow maskDAMFI[] = {
    M("DAMFI_DETAIL"), M("DAMFI_ERRS"), M("DAMFI_FRTE"), M("DAMFI_GEN"), M("DAMFI_OPCL"), M("DAMFI_TCA"),
    M("DAMFI_VAL"), M("DAMFI_ALL"), MASK_END};
static const InfTR_MaskNameRow maskDAMFS[] = {
    M("DAMFS_BUFFER"), M("DAMFS_DATA"), M("DAMFS_DETAIL"), M("DAMFS_DUMP"), M("DAMFS_ERROR"), M("DAMFS_HANDLE"),
    M("DAMFS_INFO"), M("DAMFS_INSH"), M("DAMFS_INTRO"), M("DAMFS_READ"), M("DAMFS_STATE"), M("DAMFS_VALIDATE"),
    M("DAMFS_WRITE"), M("DAMFS_ALL"), MASK_END};
static const InfTR_MaskNameRow maskDAMJO[] = {
    M("DAMJO_TRACE_ARCHIVE"), M("DAMJO_TRACE_CHECKPOINT"), M("DAMJO_TRACE_CONFIG"), M("DAMJO_TRACE_CURSOR"),
    M("DAMJO_TRACE_DAEMON"), M("DAMJO_TRACE_DUMP"), M("DAMJO_TRACE_HOUSEKEEPING"), M("DAMJO_TRACE_INIT"),
    M("DAMJO_TRACE_INTROSPECT"), M("DAMJO_TRACE_LOGFORMAT"), M("DAMJO_TRACE_LOGINIT"), M("DAMJO_TRACE_LOGREAD"),
    M("DAMJO_TRACE_LOGSTORE"), M("DAMJO_TRACE_LOGUTIL"), M("DAMJO_TRACE_MODIFY"), M("DAMJO_TRACE_NOTIFY"),
    M("DAMJO_TRACE_READ"), M("DAMJO_TRACE_SHUTDOWN"), M("DAMJO_TRACE_TRUNCATE"), M("DAMJO_TRACE_USR_ALL"),
    M("DAMJO_TRACE_USR_CALLBACK"), M("DAMJO_TRACE_USR_INIT"), M("DAMJO_TRACE_USR_WRITE"), M("DAMJO_TRACE_WRITE"),
    M("DAMJO_ALL"), MASK_END};
static const InfTR_MaskNameRow maskDAMTD[] = {
    M("DAMTD_TC_CALLER_ERROR"), M("DAMTD_TC_DELETE"), M("DAMTD_TC_DELETE_EP"), M("DAMTD_TC_DELETE_IP"),
    M("DAMTD_TC_DELETE_TOP"), M("DAMTD_TC_DUMP"), M("DAMTD_TC_EP"), M("DAMTD_TC_ERROR"), M("DAMTD_TC_FILE_OP"),
    M("DAMTD_TC_HOUSEKEEPING"), M("DAMTD_TC_INIT"), M("DAMTD_TC_INIT_EP"), M("DAMTD_TC_INIT_IP"),
    M("DAMTD_TC_INIT_OTHER"), M("DAMTD_TC_IP"), M("DAMTD_TC_LOCK"), M("DAMTD_TC_LUW"), M("DAMTD_TC_OTHER_ERROR"),
    M("DAMTD_TC_QUEUEOP"), M("DAMTD_TC_QUEUE_ERROR"), M("DAMTD_TC_QUEUE_MANAGE"), M("DAMTD_TC_READ"),
    M("DAMTD_TC_READ_EP"), M("DAMTD_TC_READ_IP"), M("DAMTD_TC_READ_TOP"), M("DAMTD_TC_RECORD"), M("DAMTD_TC_RESTORE"),
    M("DAMTD_TC_SYNCPOINT"), M("DAMTD_TC_TOP"), M("DAMTD_TC_UTILS"), M("DAMTD_TC_WRITE"), M("DAMTD_TC_WRITE_EP"),
    M("DAMTD_TC_WRITE_IP"), M("DAMTD_TC_WRITE_TOP"), M("DAMTD_ALL"), MASK_END};
static const InfTR_MaskNameRow maskDAMTS[] = {
    M("DAMTS_CAGE"), M("DAMTS_DEL"), M("DAMTS_HOUSEKEEPING"), M("DAMTS_INIT"), M("DAMTS_LOCK"), M("DAMTS_LOG"),
    M("DAMTS_LUW"), M("DAMTS_MAIN"), M("DAMTS_MISC"), M("DAMTS_READ"), M("DAMTS_RECOV"), M("DAMTS_SHUT"),
    M("DAMTS_SYNC"), M("DAMTS_TEST"), M("DAMTS_VKEY"), M("DAMTS_WRITE"), M("DAMTS_ALL"), MASK_END};

// INF
static const InfTR_MaskNameRow maskINFCS[] = {
    M("INFCS_TABEND"), M("INFCS_TERROR"), M("INFCS_TINFO"), M("INFCS_TWARN"), M("INFCS_ALL"), MASK_END};
static const InfTR_MaskNameRow maskINFDF[] = {M("INFDF_DFMT"), M("INFDF_ALL"), MASK_END};
static const InfTR_MaskNameRow maskINFDU[] = {
    M("INFDU_TERROR"), M("INFDU_TINFO"), M("INFDU_TTEST"), M("INFDU_TWRITE"), M("INFDU_ALL"), MASK_END};
static const InfTR_MaskNameRow maskINFEV[] = {
    M("INFEV_TERROR"), M("INFEV_TINFO"), M("INFEV_TTEST"), M("INFEV_ALL"), MASK_END};
static const InfTR_MaskNameRow maskINFOD[] = {M("INFOD_TERROR"), M("INFOD_TINFO"), M("INFOD_ALL"), MASK_END};
static const InfTR_MaskNameRow maskINFST[] = {
    M("INFST_TCSTD"), M("INFST_TDUMP"), M("INFST_TPRODUCE"), M("INFST_TTEST"), M("INFST_TWRITE"), M("INFST_ALL"),
    MASK_END};
static const InfTR_MaskNameRow maskINFTF[] = {
    M("INFTF_MAIN"), M("INFTF_PARMS"), M("INFTF_PROC"), M("INFTF_TRCFMT"), M("INFTF_ALL"), MASK_END};
static const InfTR_MaskNameRow maskINFTR[] = {
    M("INFTR_TABEND"), M("INFTR_TDUMP"), M("INFTR_TERROR"), M("INFTR_TINFO"), M("INFTR_TTBL"), M("INFTR_TWARN"),
    M("INFTR_ALL"), MASK_END};

// CON
static const InfTR_MaskNameRow maskCONCO[] = {
    M("CONCO_CLCK"), M("CONCO_TAPPMAN"), M("CONCO_TAPPSRV"), M("CONCO_TCAIN"), M("CONCO_TCBL"), M("CONCO_TVELA"),
    M("CONCO_TCRAB"), M("CONCO_TDUMP"), M("CONCO_TEC"), M("CONCO_TENV"), M("CONCO_TERROR"), M("CONCO_TINTR"),
    M("CONCO_TIPL"), M("CONCO_TLOGD"), M("CONCO_TLOOP"), M("CONCO_TPROC"), M("CONCO_TRECMAN"), M("CONCO_TRECSRV"),
    M("CONCO_TREST"), M("CONCO_TRPCL"), M("CONCO_TRUNT"), M("CONCO_TSHMEM"), M("CONCO_TSNAL"), M("CONCO_TTEST"),
    M("CONCO_ALL"), MASK_END};
static const InfTR_MaskNameRow maskCONTI[] = {
    M("CONTI_TAC"), M("CONTI_TVICE"), M("CONTI_TCUBS"), M("CONTI_TDUMP"), M("CONTI_TDUMP_LOOP"), M("CONTI_THRE"),
    M("CONTI_TICE"), M("CONTI_TIC_LOOP"), M("CONTI_TINTROSPECT"), M("CONTI_TLOCK"), M("CONTI_TLOCK_LOOP"),
    M("CONTI_TLR"), M("CONTI_TREADY"), M("CONTI_TREPREP"), M("CONTI_TRETCANUPC"), M("CONTI_TSTARTTRANS"),
    M("CONTI_TSTARTUPC"), M("CONTI_TTIDE"), M("CONTI_TTIME"), M("CONTI_TWT"), M("CONTI_ALL"), MASK_END};
static const InfTR_MaskNameRow maskCONTS[] = {
    M("CONTS_TAPPMAN"), M("CONTS_TCLASS"), M("CONTS_TDUMP"), M("CONTS_TINIT"), M("CONTS_TINTR"), M("CONTS_TRUNQ"),
    M("CONTS_TRUNT"), M("CONTS_TSERVL"), M("CONTS_TSTATS"), M("CONTS_TTERM"), M("CONTS_TWAITQ"), M("CONTS_ALL"),
    MASK_END};

// PIN
static const InfTR_MaskNameRow maskPINBM[] = {
    M("PINBM_MID1"), M("PINBM_MID2"), M("PINBM_MID3"), M("PINBM_PARSE1"), M("PINBM_PARSE2"), M("PINBM_PARSE3"),
    M("PINBM_TOK1"), M("PINBM_TOK2"), M("PINBM_TOK3"), M("PINBM_ALL"), MASK_END};
static const InfTR_MaskNameRow maskPINCA[] = {
    M("PINCA_MID1"), M("PINCA_MID2"), M("PINCA_MID3"), M("PINCA_RUN1"), M("PINCA_RUN2"), M("PINCA_RUN3"),
    M("PINCA_TRAN1"), M("PINCA_TRAN2"), M("PINCA_TRAN3"), M("PINCA_ALL"), MASK_END};
static const InfTR_MaskNameRow maskPINCB[] = {
    M("PINCB_TABEND"), M("PINCB_TERROR"), M("PINCB_TINFO"), M("PINCB_TWARN"), M("PINCB_ALL"), MASK_END};
static const InfTR_MaskNameRow maskPINCI[] = {
    M("PINCI_MID1"), M("PINCI_MID2"), M("PINCI_MID3"), M("PINCI_MID4"), M("PINCI_MID5"), M("PINCI_MID6"),
    M("PINCI_MID7"), M("PINCI_MID8"), M("PINCI_MID9"), M("PINCI_ALL"), MASK_END};
static const InfTR_MaskNameRow maskPINCV[] = {
    M("PINCV_MID1"), M("PINCV_TABEND"), M("PINCV_TERROR"), M("PINCV_TINFO"), M("PINCV_TOK1"), M("PINCV_TTOKEN"),
    M("PINCV_TWARN"), M("PINCV_ALL"), MASK_END};
static const InfTR_MaskNameRow maskPINDA[] = {
    M("PINDA_GENERAL"), M("PINDA_IM"), M("PINDA_MID1"), M("PINDA_MID2"), M("PINDA_MID3"), M("PINDA_WIDGET"),
    M("PINDA_ALL"), MASK_END};
static const InfTR_MaskNameRow maskPINDB[] = {
    M("PINDB_DEBUG_CDCN"), M("PINDB_DEBUG_DETAIL"), M("PINDB_DEBUG_STARTUP"), M("PINDB_ALL"), MASK_END};
static const InfTR_MaskNameRow maskPINDC[] = {
    M("PINDC_MID1"), M("PINDC_MID2"), M("PINDC_MID3"), M("PINDC_ALL"), MASK_END};
static const InfTR_MaskNameRow maskPINJV[] = {M("PINJV_MID"), M("PINJV_ALL"), MASK_END};
static const InfTR_MaskNameRow maskPINPR[] = {
    M("PINPR_ANALYZER"), M("PINPR_APPLPARSER"), M("PINPR_TABEND"), M("PINPR_TANALYZECMD"), M("PINPR_TCHARACTER"),
    M("PINPR_TCMDBUFFER"), M("PINPR_TCOMMENTBUFFER"), M("PINPR_TVLHTABLE"), M("PINPR_TERROR"), M("PINPR_TGETLINE"),
    M("PINPR_TGTI"), M("PINPR_TINFO"), M("PINPR_TMESSAGE"), M("PINPR_TMSGDATA"), M("PINPR_TPARSER"),
    M("PINPR_TTOKENIZECMD"), M("PINPR_TTOKENIZEWORD"), M("PINPR_TVALIDATECMD"), M("PINPR_TWARN"),
    M("PINPR_TWRITEFILE"), M("PINPR_ALL"), MASK_END};

// REG
static const InfTR_MaskNameRow maskREGCO[] = {
    M("REGCO_INQUIRE"), M("REGCO_MAPPING"), M("REGCO_SET"), M("REGCO_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGDC[] = {
    M("REGDC_TRACE_CALLBACK"), M("REGDC_TRACE_CHAIN"), M("REGDC_TRACE_COND"), M("REGDC_TRACE_CURD"),
    M("REGDC_TRACE_DUMMY_15"), M("REGDC_TRACE_E2ICONV"), M("REGDC_TRACE_EC"), M("REGDC_TRACE_HASH"),
    M("REGDC_TRACE_I2ECONV"), M("REGDC_TRACE_INIT"), M("REGDC_TRACE_INSTALL"), M("REGDC_TRACE_KEY"),
    M("REGDC_TRACE_PERM"), M("REGDC_TRACE_PERM_1"), M("REGDC_TRACE_PERM_2"), M("REGDC_TRACE_PERM_3"),
    M("REGDC_TRACE_PERM_4"), M("REGDC_TRACE_PERM_5"), M("REGDC_TRACE_RDO"), M("REGDC_TRACE_REGISTER"),
    M("REGDC_TRACE_RUN_1"), M("REGDC_TRACE_RUN_2"), M("REGDC_TRACE_RUN_3"), M("REGDC_TRACE_RUN_4"),
    M("REGDC_TRACE_RUN_5"), M("REGDC_TRACE_STANZAIO"), M("REGDC_TRACE_STANZA_READ"), M("REGDC_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGFI[] = {
    M("REGFI_INQUIRE"), M("REGFI_MAPPING"), M("REGFI_SET"), M("REGFI_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGGA[] = {
    M("REGGA_INQUIRE"), M("REGGA_MAPPING"), M("REGGA_SET"), M("REGGA_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGGY[] = {
    M("REGGY_INQUIRE"), M("REGGY_MAPPING"), M("REGGY_SET"), M("REGGY_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGJO[] = {
    M("REGJO_INQUIRE"), M("REGJO_MAPPING"), M("REGJO_SET"), M("REGJO_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGLI[] = {
    M("REGLI_INQUIRE"), M("REGLI_MAPPING"), M("REGLI_SET"), M("REGLI_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGMO[] = {
    M("REGMO_INQUIRE"), M("REGMO_MAPPING"), M("REGMO_SET"), M("REGMO_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGOD[] = {
    M("REGOD_INQUIRE"), M("REGOD_MAPPING"), M("REGOD_SET"), M("REGOD_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGPR[] = {
    M("REGPR_INQUIRE"), M("REGPR_MAPPING"), M("REGPR_SET"), M("REGPR_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGRE[] = {
    M("REGRE_INQUIRE"), M("REGRE_MAPPING"), M("REGRE_SET"), M("REGRE_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGRM[] = {
    M("REGRM_BROW"), M("REGRM_CLASS1"), M("REGRM_CLASS_GEN"), M("REGRM_CLASS_SER"), M("REGRM_CMDS"), M("REGRM_CUDS"),
    M("REGRM_DESTROY"), M("REGRM_EXPORT"), M("REGRM_IMPORT"), M("REGRM_INQUIRE"), M("REGRM_LOGVIEWER"),
    M("REGRM_MAPPING"), M("REGRM_RCMP"), M("REGRM_SET"), M("REGRM_STANZA"), M("REGRM_TBL"), M("REGRM_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGSC[] = {
    M("REGSC_INQUIRE"), M("REGSC_MAPPING"), M("REGSC_SET"), M("REGSC_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGSE[] = {
    M("REGSE_INQUIRE"), M("REGSE_MAPPING"), M("REGSE_SET"), M("REGSE_TRACE_ACCESS"), M("REGSE_TRACE_AUTH"),
    M("REGSE_TRACE_CRTE"), M("REGSE_TRACE_DEBUG"), M("REGSE_TRACE_DUMP"), M("REGSE_TRACE_ESM"), M("REGSE_TRACE_INIT"),
    M("REGSE_TRACE_PEM"), M("REGSE_TRACE_SETUP"), M("REGSE_TRACE_SIGN"), M("REGSE_TRACE_UPCALL"),
    M("REGSE_TRACE_USRKEY"), M("REGSE_TRACE_VCP"), M("REGSE_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGSF[] = {
    M("REGSF_INQUIRE"), M("REGSF_MAPPING"), M("REGSF_SET"), M("REGSF_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGTD[] = {
    M("REGTD_INQUIRE"), M("REGTD_MAPPING"), M("REGTD_SET"), M("REGTD_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGTE[] = {
    M("REGTE_INQUIRE"), M("REGTE_MAPPING"), M("REGTE_SET"), M("REGTE_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGTR[] = {
    M("REGTR_INQUIRE"), M("REGTR_MAPPING"), M("REGTR_SET"), M("REGTR_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGTS[] = {
    M("REGTS_INQUIRE"), M("REGTS_MAPPING"), M("REGTS_SET"), M("REGTS_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGUS[] = {
    M("REGUS_INQUIRE"), M("REGUS_MAPPING"), M("REGUS_SET"), M("REGUS_ALL"), MASK_END};
static const InfTR_MaskNameRow maskREGXA[] = {
    M("REGXA_ERROR"), M("REGXA_INFO"), M("REGXA_INQUIRE"), M("REGXA_MAPPING"), M("REGXA_SET"), M("REGXA_ALL"),
    MASK_END};

// STO
static const InfTR_MaskNameRow maskSTOMA[] = {
    M("STOMA_TALL"), M("STOMA_TTKSHEAP"), M("STOMA_TERROR"), M("STOMA_TFERR"), M("STOMA_TFLOW"), M("STOMA_TFSTRUCT"),
    M("STOMA_TSTRUCT"), M("STOMA_ALL"), MASK_END};
static const InfTR_MaskNameRow maskSTORE[] = {
    M("STORE_TABEND"), M("STORE_TALL"), M("STORE_TDETAIL"), M("STORE_TERROR"), M("STORE_TINFO"), M("STORE_ALL"),
    MASK_END};
static const InfTR_MaskNameRow maskSTOTA[] = {
    M("STOTA_TERROR"), M("STOTA_TFERROR"), M("STOTA_TFLOW"), M("STOTA_TFSTRUCT"), M("STOTA_TSTRUCT"), M("STOTA_ALL"),
    MASK_END};

// SUP
static const InfTR_MaskNameRow maskSUPBU[] = {M("SUPBU_SUCS"), M("SUPBU_SUDCE"), M("SUPBU_ALL"), MASK_END};
static const InfTR_MaskNameRow maskSUPER[] = {
    M("SUPER_ASSERT"), M("SUPER_DATA"), M("SUPER_DETAIL"), M("SUPER_ENV"), M("SUPER_LOCALE"), M("SUPER_MESSAGE"),
    M("SUPER_MID"), M("SUPER_SYMREC"), M("SUPER_TDUMP"), M("SUPER_ALL"), MASK_END};
static const InfTR_MaskNameRow maskSUPIV[] = {
    M("SUPIV_DEBUG_ALL"), M("SUPIV_DEBUG_IVPADMIN"), M("SUPIV_ALL"), MASK_END};
static const InfTR_MaskNameRow maskSUPLM[] = {
    M("SUPLM_ERROR"), M("SUPLM_EVENT"), M("SUPLM_INFO"), M("SUPLM_ALL"), MASK_END};
static const InfTR_MaskNameRow maskSUPOS[] = {
    M("SUPOS_ARGS"), M("SUPOS_ERRORS"), M("SUPOS_FLOW"), M("SUPOS_LOG"), M("SUPOS_MEMORY"), M("SUPOS_PRODUCT_TRACE"),
    M("SUPOS_RETURN_CODES"), M("SUPOS_TERROR"), M("SUPOS_TINFO"), M("SUPOS_TSTASH"), M("SUPOS_TWARN"), M("SUPOS_ALL"),
    MASK_END};
static const InfTR_MaskNameRow maskSUPPR[] = {
    M("SUPPR_1"), M("SUPPR_2"), M("SUPPR_DUMP"), M("SUPPR_HASH"), M("SUPPR_LATCH"), M("SUPPR_MUTEX"), M("SUPPR_POOL"),
    M("SUPPR_TC_EVENT"), M("SUPPR_ALL"), MASK_END};
static const InfTR_MaskNameRow maskSUPTM[] = {
    M("SUPTM_TALL"), M("SUPTM_TFILE"), M("SUPTM_TSIGNAL"), M("SUPTM_TTHREAD"), M("SUPTM_ALL"), MASK_END};
static const InfTR_MaskNameRow maskSUPTR[] = {
    M("SUPTR_TFF"), M("SUPTR_TPARSE"), M("SUPTR_TTRPT"), M("SUPTR_ALL"), MASK_END};

// TAS
static const InfTR_MaskNameRow maskTASCO[] = {
    M("TASCO_DEBUG_ABENDS"), M("TASCO_DEBUG_ACTION_TABLE"), M("TASCO_DEBUG_AIDS"), M("TASCO_DEBUG_CONDITIONS"),
    M("TASCO_DEBUG_DETAIL"), M("TASCO_DEBUG_LOOKUP_TABLES"), M("TASCO_ALL"), MASK_END};
static const InfTR_MaskNameRow maskTASED[] = {
    M("TASED_DEBUG_ABENDO"), M("TASED_DEBUG_ABTASKTERM"), M("TASED_DEBUG_VEDF"), M("TASED_DEBUG_COMMAND"),
    M("TASED_DEBUG_CONDITION"), M("TASED_DEBUG_EIB"), M("TASED_DEBUG_HEADER"), M("TASED_DEBUG_INTERACT"),
    M("TASED_DEBUG_LINE"), M("TASED_DEBUG_MESSAGE"), M("TASED_DEBUG_MISC"), M("TASED_DEBUG_PF"),
    M("TASED_DEBUG_PROGINIT"), M("TASED_DEBUG_PROGTERM"), M("TASED_DEBUG_SETUP"), M("TASED_DEBUG_STATUS"),
    M("TASED_DEBUG_TASKTERM"), M("TASED_DEBUG_WS"), M("TASED_ALL"), MASK_END};
static const InfTR_MaskNameRow maskTASLU[] = {
    M("TASLU_ARGS"), M("TASLU_FLOW"), M("TASLU_HARD"), M("TASLU_IMMABEND"), M("TASLU_LOG"), M("TASLU_LOG_DATA"),
    M("TASLU_MEMORY"), M("TASLU_PRODTRACE"), M("TASLU_RS_INFO"), M("TASLU_TEST"), M("TASLU_TESTDETAIL"),
    M("TASLU_TESTFLOW"), M("TASLU_TMXADETAIL"), M("TASLU_TMXAFLOW"), M("TASLU_TRAN_OPTIMIZATIONS"),
    M("TASLU_TRPCCLEAN"), M("TASLU_UPCALLS"), M("TASLU_ALL"), MASK_END};
static const InfTR_MaskNameRow maskTASPR[] = {
    M("TASPR_FLOW"), M("TASPR_HARD"), M("TASPR_IMMABEND"), M("TASPR_LOG"), M("TASPR_MEMORY"), M("TASPR_PRODTRACE"),
    M("TASPR_ALL"), MASK_END};
static const InfTR_MaskNameRow maskTASTA[] = {
    M("TASTA_MID1"), M("TASTA_MID2"), M("TASTA_MID3"), M("TASTA_PERM1"), M("TASTA_PERM2"), M("TASTA_PERM3"),
    M("TASTA_STATS1"), M("TASTA_TASK1"), M("TASTA_TASK2"), M("TASTA_TASK3"), M("TASTA_TCA1"), M("TASTA_TCA2"),
    M("TASTA_TCA3"), M("TASTA_ALL"), MASK_END};

// TER
static const InfTR_MaskNameRow maskTERBM[] = {
    M("TERBM_DEBUG_DYNAMIC"), M("TERBM_DEBUG_PHYSICAL_MAP"), M("TERBM_DEBUG_ROUTER"), M("TERBM_DEBUG_STREAM_IN"),
    M("TERBM_DEBUG_STREAM_OUT"), M("TERBM_DEBUG_SYMBOLIC_MAP"), M("TERBM_DEBUG_TIOA"), M("TERBM_ALL"), MASK_END};
static const InfTR_MaskNameRow maskTERBY[] = {
    M("TERBY_DEBUG_SIGNOFF"), M("TERBY_DEBUG_SIGNON"), M("TERBY_ALL"), MASK_END};
static const InfTR_MaskNameRow maskTEREC[] = {M("TEREC_MID1"), M("TEREC_ALL"), MASK_END};
static const InfTR_MaskNameRow maskTEREM[] = {
    M("TEREM_KM_TERR"), M("TEREM_KM_TINFO"), M("TEREM_KM_TWARN"), M("TEREM_SC_TERR"), M("TEREM_SC_TINFO"),
    M("TEREM_SC_TWARN"), M("TEREM_TERR"), M("TEREM_TINFO"), M("TEREM_TWARN"), M("TEREM_ALL"), MASK_END};
static const InfTR_MaskNameRow maskTEREP[] = {M("TEREP_MID1"), M("TEREP_ALL"), MASK_END};
static const InfTR_MaskNameRow maskTERLD[] = {
    M("TERLD_TERR"), M("TERLD_TINFO"), M("TERLD_TWARN"), M("TERLD_ALL"), MASK_END};
static const InfTR_MaskNameRow maskTERNT[] = {M("TERNT_TFLOW"), M("TERNT_ALL"), MASK_END};
static const InfTR_MaskNameRow maskTERSH[] = {
    M("TERSH_EMU1"), M("TERSH_EMU2"), M("TERSH_EMU3"), M("TERSH_MID1"), M("TERSH_MID2"), M("TERSH_MID3"),
    M("TERSH_TABEND"), M("TERSH_TFLOW"), M("TERSH_TLOG"), M("TERSH_TMEMORY"), M("TERSH_TPATH"), M("TERSH_TTEST"),
    M("TERSH_ALL"), MASK_END};
static const InfTR_MaskNameRow maskTERTL[] = {
    M("TERTL_TALL"), M("TERTL_TDEBUG"), M("TERTL_TDS"), M("TERTL_TERROR"), M("TERTL_TEYE"), M("TERTL_TNEVER"),
    M("TERTL_TPATH"), M("TERTL_TTELNET"), M("TERTL_ALL"), MASK_END};

static const InfTR_ComponentRow groupADM[] = {
    {102, "ADMDB", maskADMDB}, {105, "ADMFN", maskADMFN}, {35, "ADMGY", maskADMGY}, {36, "ADMLG", maskADMLG},
    {96, "ADMSA", maskADMSA}, {37, "ADMSC", maskADMSC}, {38, "ADMSF", maskADMSF}, COMPONENT_END,
};
static const InfTR_ComponentRow groupCOM[] = {
    {115, "COMCB", maskCOMCB}, {42, "COMCL", maskCOMCL}, {31, "COMCR", maskCOMCR}, {43, "COMDL", maskCOMDL},
    {29, "COMDP", maskCOMDP}, {27, "COMFS", maskCOMFS}, {44, "COMIP", maskCOMIP}, {61, "COMLQ", maskCOMLQ},
    {109, "COMLU", maskCOMLU}, {106, "COMOL", maskCOMOL}, {41, "COMRL", maskCOMRL}, {32, "COMRS", maskCOMRS},
    {63, "COMSN", maskCOMSN}, {30, "COMSU", maskCOMSU}, {28, "COMTR", maskCOMTR}, COMPONENT_END,
};
static const InfTR_ComponentRow groupDAM[] = {
    {26, "DAMBR", maskDAMBR}, {82, "DAMDB", maskDAMDB}, {101, "DAMFH", maskDAMFH}, {21, "DAMFI", maskDAMFI},
    {25, "DAMFS", maskDAMFS}, {24, "DAMJO", maskDAMJO}, {22, "DAMTD", maskDAMTD}, {23, "DAMTS", maskDAMTS},
    COMPONENT_END,
};
static const InfTR_ComponentRow groupINF[] = {
    {53, "INFCS", maskINFCS}, {54, "INFDF", maskINFDF}, {52, "INFDU", maskINFDU}, {50, "INFEV", maskINFEV},
    {20, "INFOD", maskINFOD}, {51, "INFST", maskINFST}, {13, "INFTF", maskINFTF}, {49, "INFTR", maskINFTR},
    COMPONENT_END,
};
static const InfTR_ComponentRow groupCON[] = {
    {10, "CONCO", maskCONCO}, {7, "CONTI", maskCONTI}, {39, "CONTS", maskCONTS}, COMPONENT_END,
};
static const InfTR_ComponentRow groupPIN[] = {
    {5, "PINBM", maskPINBM}, {1, "PINCA", maskPINCA}, {114, "PINCB", maskPINCB}, {3, "PINCI", maskPINCI},
    {2, "PINCV", maskPINCV}, {6, "PINDA", maskPINDA}, {104, "PINDB", maskPINDB}, {111, "PINDC", maskPINDC},
    {113, "PINJV", maskPINJV}, {4, "PINPR", maskPINPR}, COMPONENT_END,
};
static const InfTR_ComponentRow groupREG[] = {
    {69, "REGCO", maskREGCO}, {34, "REGDC", maskREGDC}, {70, "REGFI", maskREGFI}, {81, "REGGA", maskREGGA},
    {88, "REGGY", maskREGGY}, {71, "REGJO", maskREGJO}, {87, "REGLI", maskREGLI}, {72, "REGMO", maskREGMO},
    {66, "REGOD", maskREGOD}, {73, "REGPR", maskREGPR}, {74, "REGRE", maskREGRE}, {46, "REGRM", maskREGRM},
    {83, "REGSC", maskREGSC}, {45, "REGSE", maskREGSE}, {84, "REGSF", maskREGSF}, {75, "REGTD", maskREGTD},
    {76, "REGTE", maskREGTE}, {77, "REGTR", maskREGTR}, {78, "REGTS", maskREGTS}, {79, "REGUS", maskREGUS},
    {80, "REGXA", maskREGXA}, COMPONENT_END,
};
static const InfTR_ComponentRow groupSTO[] = {
    {60, "STOMA", maskSTOMA}, {48, "STORE", maskSTORE}, {47, "STOTA", maskSTOTA}, COMPONENT_END,
};
static const InfTR_ComponentRow groupSUP[] = {
    {67, "SUPBU", maskSUPBU}, {57, "SUPER", maskSUPER}, {85, "SUPIV", maskSUPIV}, {107, "SUPLM", maskSUPLM},
    {58, "SUPOS", maskSUPOS}, {56, "SUPPR", maskSUPPR}, {40, "SUPTM", maskSUPTM}, {86, "SUPTR", maskSUPTR},
    COMPONENT_END,
};
static const InfTR_ComponentRow groupTAS[] = {
    {17, "TASCO", maskTASCO}, {19, "TASED", maskTASED}, {16, "TASLU", maskTASLU}, {15, "TASPR", maskTASPR},
    {14, "TASTA", maskTASTA}, COMPONENT_END,
};
static const InfTR_ComponentRow groupTER[] = {
    {62, "TERBM", maskTERBM}, {12, "TERBY", maskTERBY}, {64, "TEREC", maskTEREC}, {97, "TEREM", maskTEREM},
    {33, "TEREP", maskTEREP}, {98, "TERLD", maskTERLD}, {100, "TERNT", maskTERNT}, {11, "TERSH", maskTERSH},
    {18, "TERTL", maskTERTL}, COMPONENT_END,
};

const InfTR_GroupRow InfTR_GroupTable[] = {
    {"ADM", groupADM}, {"COM", groupCOM}, {"DAM", groupDAM}, {"INF", groupINF},
    {"CON", groupCON}, {"PIN", groupPIN}, {"REG", groupREG}, {"STO", groupSTO},
    {"SUP", groupSUP}, {"TAS", groupTAS}, {"TER", groupTER},
    {nullptr, nullptr},
};

// Only the first INFTR_PRODUCT_COUNT rows are in use.
const InfTR_ProductRow InfTR_ProductTable[INFTR_PRODUCT_ROWS] = {
    {0, "VELA", 0x1},  {1, "AS", 0x2},    {2, "AM", 0x4},     {3, "LD", 0x8},     {4, "RM", 0x10},
    {5, "RS", 0x20},   {6, "IC", 0x40},   {7, "RL", 0x80},    {8, "IP", 0x100},   {9, "SL", 0x200},
    {10, "LM", 0x400}, {11, "OL", 0x800}, {12, "NP", 0x1000}, {13, "LU", 0x2000}, {14, "CB", 0x4000},
};
// clang-format on
