#pragma once
/// \file
/// Umbrella header: every public declaration of ZelTools.

#include "zeltools/platform/last_error.h"

#include "zeltools/rcscript/encoding.h"
#include "zeltools/rcscript/language_ids.h"

#include "zeltools/errors/exception.h"
#include "zeltools/errors/language.h"
#include "zeltools/errors/last_error.h"

#include "zeltools/memory/allocator.h"
#include "zeltools/memory/memory.h"

#include "zeltools/files/block.h"
#include "zeltools/files/block_io.h"
#include "zeltools/files/document.h"
#include "zeltools/files/file_base.h"
#include "zeltools/files/message_sink.h"

#include "zeltools/containers/array_plus.h"
#include "zeltools/containers/compare.h"
#include "zeltools/containers/list_index.h"
#include "zeltools/containers/small_vectors.h"
#include "zeltools/containers/type_codes.h"
#include "zeltools/containers/type_value.h"
#include "zeltools/containers/vbase.h"
#include "zeltools/containers/vector.h"
#include "zeltools/containers/vector_array.h"

#include "zeltools/text/bits.h"
#include "zeltools/text/compare.h"
#include "zeltools/text/debug_print.h"
#include "zeltools/text/encoding.h"
#include "zeltools/text/file_text.h"
#include "zeltools/text/font.h"
#include "zeltools/text/guid.h"
#include "zeltools/text/letter_case.h"
#include "zeltools/text/list_index.h"
#include "zeltools/text/list_text.h"
#include "zeltools/text/number_text.h"
#include "zeltools/text/params.h"
#include "zeltools/text/phrase.h"
#include "zeltools/text/point_line.h"
#include "zeltools/text/read_memory.h"
#include "zeltools/text/resource.h"
#include "zeltools/text/strings.h"

#include "zeltools/geometry/line2d.h"
#include "zeltools/geometry/line3d.h"
#include "zeltools/geometry/point2d.h"
#include "zeltools/geometry/point3d.h"
#include "zeltools/geometry/point_vectors.h"
#include "zeltools/geometry/segment.h"

#include "zeltools/numerics/band.h"
#include "zeltools/numerics/dense.h"
#include "zeltools/numerics/interpolation.h"
#include "zeltools/numerics/polynomial.h"
#include "zeltools/numerics/quadrature.h"
#include "zeltools/numerics/renumber.h"
#include "zeltools/numerics/vector3d.h"
