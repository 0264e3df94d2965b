// libdvbv5 and the GStreamer mpegts library. Both convert text only inside descriptors, so that they get each text as a
// network name descriptor (tag 0x40), which holds nothing else; its length is one byte, so that they cannot do 64K.
#pragma once

#include "harness.h"

#if defined(BENCH_HAS_LIBDVBV5)
#include <cstdint>
#include <cstdlib>
#include <libdvbv5/desc_network_name.h>
#include <libdvbv5/descriptors.h>
#include <libdvbv5/dvb-fe.h>
#include <memory>
#endif
#if defined(BENCH_HAS_GSTREAMER)
#define GST_USE_UNSTABLE_API
#include <gst/mpegts/mpegts.h>
#endif

namespace zelk_bench {

#if defined(BENCH_HAS_LIBDVBV5)
// `take` sees the descriptor that libdvbv5 has filled.
template <class Take>
std::size_t dvbv5Convert(dvb_v5_fe_parms *parameters, std::span<const char> text, Take take) {
    dvb_desc_network_name descriptor{};
    auto *const base = reinterpret_cast<dvb_desc *>(&descriptor);
    descriptor.type = 0x40;
    descriptor.length = static_cast<std::uint8_t>(text.size());
    dvb_desc_network_name_init(parameters, reinterpret_cast<const std::uint8_t *>(text.data()), base);
    const std::size_t written = take(descriptor.network_name);
    dvb_desc_network_name_free(base);
    return written;
}

inline void addLibdvbv5(Conversion<char, char> &conversion) {
    const std::shared_ptr<dvb_v5_fe_parms> parameters(dvb_fe_dummy(), std::free);
    static char defaultCharset[] = "ISO-6937";
    static char outputCharset[] = "UTF-8";
    parameters->default_charset = defaultCharset;
    parameters->output_charset = outputCharset;
    conversion.rival(
        "libdvbv5",
        [parameters](std::span<const char> text, char *, std::size_t) {
            return dvbv5Convert(parameters.get(), text, [](const char *) { return std::size_t{0}; });
        },
        [parameters](std::span<const char> text, char *out, std::size_t) {
            return dvbv5Convert(parameters.get(), text, [out](const char *name) {
                const std::size_t length = name == nullptr ? 0 : std::strlen(name);
                std::copy_n(name, length, out);
                return length;
            });
        });
}
#else
inline void addLibdvbv5(Conversion<char, char> &) {}
#endif

#if defined(BENCH_HAS_GSTREAMER)
template <class Take>
std::size_t gstreamerConvert(std::span<const char> text, Take take) {
    guint8 bytes[2 + 255];
    bytes[0] = GST_MTS_DESC_DVB_NETWORK_NAME;
    bytes[1] = static_cast<guint8>(text.size());
    std::memcpy(bytes + 2, text.data(), text.size());
    GstMpegtsDescriptor descriptor{};
    descriptor.tag = bytes[0];
    descriptor.length = bytes[1];
    descriptor.data = bytes;
    gchar *name = nullptr;
    gst_mpegts_descriptor_parse_dvb_network_name(&descriptor, &name);
    const std::size_t written = take(name);
    g_free(name);
    return written;
}

inline void addGstreamer(Conversion<char, char> &conversion) {
    gst_mpegts_initialize();
    conversion.rival(
        "GStreamer",
        [](std::span<const char> text, char *, std::size_t) {
            return gstreamerConvert(text, [](const char *) { return std::size_t{0}; });
        },
        [](std::span<const char> text, char *out, std::size_t) {
            return gstreamerConvert(text, [out](const char *name) {
                const std::size_t length = name == nullptr ? 0 : std::strlen(name);
                std::copy_n(name, length, out);
                return length;
            });
        });
}
#else
inline void addGstreamer(Conversion<char, char> &) {}
#endif

inline void addDvbLibraries(Conversion<char, char> &conversion, Length length) {
    if (length != Length::Buffer) {
        addLibdvbv5(conversion);
        addGstreamer(conversion);
    }
}

} // namespace zelk_bench
