// What stubs call around the interpreters: state, storage, the end of a call.

#include "qrt_int.h"
#include "qrt_pdu.h"
#include "rpc_stub.h"

#include <cstdlib>
#include <cstring>

// The calling thread's routines for results; plain words, so that no thread end has to clean up.
static thread_local void *(*threadAllocate)(size_t Size) = nullptr;
static thread_local void (*threadFree)(void *Block) = nullptr;

// Nothing of this runtime needs setting up: its tables are constant, and groups come into being with their bindings.
void rpc_ss_init_client_once(void)
{
}

void rpc_ss_init_marsh_state(const u8 *TypeVector, rpc_ss_marsh_state_t *State)
{
    memset(State, 0, offsetof(rpc_ss_marsh_state_t, Room));
    State->TypeVector = TypeVector;
    rpc_ndr_writer_init(&State->Output, State->Room, sizeof State->Room, 0);
}

void rpc_ss_init_node_table(rpc_ss_node_table *Nodes, rpc_ss_marsh_state_t *)
{
    Nodes->Ready = 1;
}

static void *plainAllocate(size_t size)
{
    return Plat_Sys.Malloc(size);
}

void rpc_ss_mts_client_estab_alloc(rpc_ss_marsh_state_t *State)
{
    State->Allocate = threadAllocate ? threadAllocate : plainAllocate;
    State->Free = threadFree ? threadFree : free;
}

void rpc_ss_set_client_alloc_free(void *(*Allocate)(size_t Size), void (*Free)(void *Block))
{
    threadAllocate = Allocate;
    threadFree = Free;
}

void rpc_ss_client_free(void *Block)
{
    if (Block) (threadFree ? threadFree : free)(Block);
}

void rpc_ss_ndr_clean_up(rpc_ss_marsh_state_t *State)
{
    rpc_ndr_writer_free(&State->Output);
    State->Send = {nullptr, 0};
}

void rpc_ss_report_error_2(u32 Fault, u32, u32 Status, i32 *PreviousCancel, const void *, const void *, const void *,
                           rpc_ss_marsh_state_t *)
{
    if (Fault == 0 && Status == rpc_s_ok) return;
    if (PreviousCancel && *PreviousCancel == 1) {
        *PreviousCancel = 0;
        qrt_ptdexc_setcanceltype(1, nullptr);
    }
    exc_raise(Fault != 0 ? qrt_exception_of_fault(Fault) : qrt_exception_of_status(Status));
}
