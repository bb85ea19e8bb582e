#pragma once

/// The hash by which names are compared: 64-bit FNV-1a over the text's UTF-16 code units as
/// little-endian byte pairs, its low 32 bits widened with their sign. Equal on every platform,
/// however wide its wchar_t is; case-sensitive. Two names of equal hash count as the same.
///
/// \param text    need not end in 0.
/// \param length  in wide characters.
long long componentHash(const wchar_t* text, unsigned long long length) noexcept;
