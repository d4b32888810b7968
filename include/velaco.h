#ifndef VELACO_H
#define VELACO_H

/* All of libvelaco, for programs that use it. The library's own sources include what they call. */

#include "comrl_listener.h"
#include "inftr.h"
#include "inftr_component_numbers.h"
#include "inftr_guard.h"
#include "super_assert.h"
#include "super_codes.h"
#include "super_logging.h"
#include "super_messages.h"
#include "super_symptoms.h"
#include "supos_basics.h"
#include "supos_conversion.h"
#include "supos_environment.h"
#include "supos_eventlog.h"
#include "supos_execute.h"
#include "supos_faults.h"
#include "supos_locales.h"
#include "supos_msgpipe.h"
#include "supos_registry.h"
#include "supos_relay.h"
#include "supos_security.h"
#include "supos_services.h"
#include "suppr_endpoints.h"
#include "suppr_exceptions.h"
#include "suppr_names.h"
#include "suppr_utility.h"
#include "terbm_stream.h"
#include "ts_scheduler.h"
#include "vela_types.h"

#endif
