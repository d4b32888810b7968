// The sequence of a client stub, written once.
//
// Two guarded blocks, one within the other: the inner one lets a broken pipe of the answer pass as handled, the outer one
// holds whatever else is raised until the clean-up has run. Cancellation is off in between, so that a call leaves
// neither a connection nor storage behind.

#include "client_stub.h"

// Set by nobody: the runtime's own guard makes the set-up happen once.
static constinit bool clientSetUp = false;

// What the clean-up has to know about a call under way.
struct Progress {
    rpc_call_handle_t Call;
    ndr_format_t Format;
    u32 Fault;
    u32 Status;
};

static void inner(const RemCl_Call *call, void *const *parameters, rpc_ss_marsh_state_t *state, Progress *progress)
{
    progress->Call = nullptr;
    state->OffsetVector = call->Offsets;
    state->RoutineVector = nullptr;
    state->ParameterVector = parameters;
    if (call->HasList) {
        rpc_ss_init_node_table(&state->Nodes, state);
        rpc_ss_mts_client_estab_alloc(state);
    }

    rpc_transfer_syntax_t syntax;
    const rpc_binding_handle_t binding = *static_cast<const rpc_binding_handle_t *>(parameters[1]);
    rpc_call_start(binding, 0, call->Interface, call->Operation, &progress->Call, &syntax, &progress->Status);
    if (progress->Status != rpc_s_ok) return;

    rpc_ss_ndr_marsh_interp(call->InputCount, call->InputIndex, parameters, state);
    state->Format = &progress->Format;
    rpc_call_transceive(progress->Call, &state->Send, state->Format, &state->Received, &progress->Status);
    if (progress->Status != rpc_s_ok) {
        state->Format = nullptr;
        return;
    }
    rpc_ss_ndr_unmar_interp(call->OutputCount, call->OutputIndex, parameters, state);
}

static void guarded(const RemCl_Call *call, void *const *parameters, rpc_ss_marsh_state_t *state, Progress *progress,
                    const exc_Object **held)
{
    try {
        try {
            inner(call, parameters, state, progress);
        } catch (const exc_Raised &raised) {
            if (!exc_matches(raised.Object, &rpc_x_ss_pipe_comm_error)) exc_raise(raised.Object);
        }
    } catch (const exc_Raised &raised) {
        QRTExceptionFilter(raised.Object, held);
    }
}

void RemCl_Run(const RemCl_Call *Call, void *const *Parameters)
{
    Progress progress = {};
    const exc_Object *held = nullptr;
    i32 previous = 0;
    u32 extra = 0;
    if (!clientSetUp) rpc_ss_init_client_once();
    qrt_ptdexc_setcanceltype(0, &previous);
    rpc_ss_marsh_state_t state;
    rpc_ss_init_marsh_state(Call->Types, &state);

    guarded(Call, Parameters, &state, &progress, &held);

    rpc_ss_ndr_clean_up(&state);
    rpc_ss_call_end_2(&progress.Call, &progress.Fault, &extra, &progress.Status);
    if (state.Memory != nullptr) rpc_ss_mem_free(&state.Memory);
    rpc_ss_report_error_2(progress.Fault, 0, progress.Status, &previous, nullptr, nullptr, nullptr, &state);
    if (previous == 1) qrt_ptdexc_setcanceltype(1, nullptr);
    if (held != nullptr) exc_raise(held);
}
