// Names of components, from the rows of inftr_component_numbers.h (the build turns them into component_names.inc).

#include "trace_components.h"

namespace
{

struct Row {
    u32 Number;
    const char *Name;
};

constexpr Row rows[] = {
#include "component_names.inc"
};

} // namespace

std::string Trace_ComponentName(u32 Component)
{
    if (Component == 0) return "-";
    for (const Row &row : rows)
        if (row.Number == Component) return row.Name;
    return std::to_string(Component);
}
