#include "public_layouts.h"
