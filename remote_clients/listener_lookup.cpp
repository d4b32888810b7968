// Finding a listener, and the address in a binding.

#include "comrl_stubs.h"

#include "inftr_guard.h"
#include "rpc_binding.h"
#include "suppr_bindings.h"

i32 ComRL_LookUpBinding(rpc_if_handle_t IfSpec, const char *Annotation, rpc_binding_handle_t *Binding)
{
    INFTR_FUNCTION(COMRL, "ComRL_LookUpBinding");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %s, %p)", static_cast<const void *>(IfSpec), Annotation ? Annotation : "NULL",
                static_cast<void *>(Binding));

    const u32 code = SupPR_BindingFromAnnotation(nullptr, IfSpec, nullptr, Annotation, Binding, nullptr, 1, nullptr);
    const i32 found = code == ERZ_OK ? 1 : 0;
    INFTR_RETURN_VALUE(1, found);
}

void ComRL_GetNetworkAdd(rpc_binding_handle_t Binding, char **Address)
{
    INFTR_FUNCTION(COMRL, "ComRL_GetNetworkAdd");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p)", static_cast<void *>(Binding), static_cast<void *>(Address));

    *Address = nullptr;
    u32 status;
    unsigned_char_p_t text = nullptr;
    rpc_binding_to_string_binding(Binding, &text, &status);
    if (text != nullptr) {
        unsigned_char_p_t address = nullptr;
        rpc_string_binding_parse(text, nullptr, nullptr, &address, nullptr, nullptr, &status);
        *Address = reinterpret_cast<char *>(address);
        rpc_string_free(&text, &status);
    }
    INFTR_RETURN(1);
}
