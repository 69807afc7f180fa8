#pragma once
/// \file
/// The block protocol (block_io.h) together with the file class, for code
/// that writes its payloads through `CFileBase` directly.

#include "zeltools/files/block_io.h"
#include "zeltools/files/file_base.h"
