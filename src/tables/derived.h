// Tables that follow from others. The compiler computes them, so that a library starts without work; a build that has
// to be small to send (ZELK_COMPACT) computes them when it starts.
#pragma once

#if defined(ZELK_COMPACT)
// An optimiser that could run such a function would put its result back into the file.
#define ZELK_DERIVING [[gnu::noinline, clang::optnone]] inline
#define ZELK_DERIVED const
#else
#define ZELK_DERIVING consteval
#define ZELK_DERIVED constexpr
#endif
