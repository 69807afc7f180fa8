#pragma once
/// \file
/// The character cell of a screen font at a given point size.

namespace zel {

/// Average character width and cell height, in pixels, of a font of
/// `pointSize` points on a 96 dots-per-inch screen.
///
/// Without a font system this is an estimate for the usual proportional
/// sans-serif faces: the em height is pointSize·96/72 rounded to nearest
/// (the pixel height a font of that size is asked for), the cell height adds
/// 15 % of the em for the internal leading, and the average width is 45 % of
/// the em, each rounded to nearest. A 10-point font gives 6 × 15. Point
/// sizes below 1 give 0 × 0; sizes above 10,000 are taken as 10,000.
void FontSize(int pointSize, int& width, int& height);

} // namespace zel
