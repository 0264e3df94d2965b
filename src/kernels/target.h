// Functions for one instruction set: all of those between ZELK_TARGET_BEGIN and ZELK_TARGET_END.
#pragma once

#define ZELK_PRAGMA(text) _Pragma(#text)
#if defined(__clang__)
#define ZELK_TARGET_BEGIN(features)                                                                                    \
    ZELK_PRAGMA(clang attribute push(__attribute__((target(features))), apply_to = function))
#define ZELK_TARGET_END ZELK_PRAGMA(clang attribute pop)
#else
#define ZELK_TARGET_BEGIN(features) ZELK_PRAGMA(GCC push_options) ZELK_PRAGMA(GCC target(features))
#define ZELK_TARGET_END ZELK_PRAGMA(GCC pop_options)
#endif
