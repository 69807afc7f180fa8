#pragma once
/// \file
/// Umbrella header: every public declaration of ZelTools.

#include "zeltools/errors/exception.h"
#include "zeltools/errors/language.h"
#include "zeltools/errors/last_error.h"
#include "zeltools/memory/memory.h"
#include "zeltools/containers/vector.h"
#include "zeltools/text/encoding.h"
