#pragma once
/// \file
/// `GetLastError` / `SetLastError`, declared in
/// <zeltools/platform/last_error.h>; this path is kept so that code written
/// against it still compiles.

#include "zeltools/platform/last_error.h"
