#pragma once
/// \file
/// The Windows-1251 / UTF-8 conversions, declared in
/// <zeltools/rcscript/encoding.h>; this path is kept so that code written
/// against it still compiles.

#include "zeltools/rcscript/encoding.h"
