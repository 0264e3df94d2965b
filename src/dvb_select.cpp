// Selection of the character table of a DVB string, as a function of the flat interface.
#include "detail/dvb_select.h"

#include <climits>

// As many bytes as the selector asks for are there.
unsigned int zelk_dvbGetDvbCode(const char *text, dvbCharSet_t *charSet, DvbCode_t *code, int *extra,
                                DvbCode_t defaultCode, int defaultExtra) {
    const zelk::detail::DvbSelection selection =
        zelk::detail::selectDvbCode(text, INT_MAX, *charSet, defaultCode, defaultExtra);
    *charSet = selection.charSet;
    *code = selection.code;
    if (extra != nullptr) {
        *extra = selection.extra;
    }
    return selection.consumed;
}
