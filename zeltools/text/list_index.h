#pragma once
/// \file
/// The number-list editing functions live with the containers that use them
/// (containers/list_index.h); this header keeps existing includes working.

#include "zeltools/containers/list_index.h"
