#pragma once
/// \file
/// The tolerant comparisons live with the containers that use them
/// (containers/compare.h); this header keeps existing includes working.

#include "zeltools/containers/compare.h"
