// Entities of XML: text to markup and back.
#include "cases.h"
#include "harness.h"

#include "zelk.h"

#include <memory>

#if defined(BENCH_HAS_GLIB)
#include <glib.h>
#endif
#if defined(BENCH_HAS_PUGIXML)
#include <pugixml.hpp>
#endif
#if defined(BENCH_HAS_LIBXML2)
#include <libxml/entities.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#endif

using namespace zelk_bench;

namespace {

using XmlConversion = Conversion<char, char>;

[[maybe_unused]] std::size_t keep(const char *text, char *out) {
    const std::size_t length = text == nullptr ? 0 : std::strlen(text);
    std::copy_n(text, length, out);
    return length;
}

#if defined(BENCH_HAS_GLIB)
void addGlibEscape(XmlConversion &conversion) {
    const auto escape = [](std::span<const char> text) {
        return g_markup_escape_text(text.data(), static_cast<gssize>(text.size()));
    };
    conversion.rival(
        "GLib g_markup_escape_text",
        [escape](std::span<const char> text, char *, std::size_t) {
            g_free(escape(text));
            return std::size_t{0};
        },
        [escape](std::span<const char> text, char *out, std::size_t) {
            const std::unique_ptr<gchar, decltype(&g_free)> escaped(escape(text), g_free);
            return keep(escaped.get(), out);
        });
}

// GLib unescapes only what it parses: a document of one element.
void addGlibUnescape(XmlConversion &conversion) {
    struct Output {
        char *at;
    };
    static const GMarkupParser parser = {
        nullptr, nullptr,
        [](GMarkupParseContext *, const gchar *text, gsize length, gpointer output, GError **) {
            auto *const out = static_cast<Output *>(output);
            std::memcpy(out->at, text, length);
            out->at += length;
        },
        nullptr, nullptr};
    conversion.rival("GLib GMarkupParseContext", [](std::span<const char> text, char *out, std::size_t) {
        Output output{out};
        GMarkupParseContext *const context =
            g_markup_parse_context_new(&parser, GMarkupParseFlags(0), &output, nullptr);
        g_markup_parse_context_parse(context, "<t>", 3, nullptr);
        g_markup_parse_context_parse(context, text.data(), static_cast<gssize>(text.size()), nullptr);
        g_markup_parse_context_parse(context, "</t>", 4, nullptr);
        g_markup_parse_context_free(context);
        return static_cast<std::size_t>(output.at - out);
    });
}
#else
void addGlibEscape(XmlConversion &) {}
void addGlibUnescape(XmlConversion &) {}
#endif

#if defined(BENCH_HAS_PUGIXML)
// pugixml escapes what it prints. The text node is made anew for each text, as a caller would.
void addPugixmlEscape(XmlConversion &conversion) {
    struct Writer : pugi::xml_writer {
        char *at;
        explicit Writer(char *out) : at(out) {}
        void write(const void *data, std::size_t size) override {
            std::memcpy(at, data, size);
            at += size;
        }
    };
    conversion.rival("pugixml", [](std::span<const char> text, char *out, std::size_t) {
        pugi::xml_document document;
        document.append_child(pugi::node_pcdata).set_value(text.data());
        Writer writer(out);
        document.first_child().print(writer, "", pugi::format_raw, pugi::encoding_utf8);
        return static_cast<std::size_t>(writer.at - out);
    });
}

void addPugixmlUnescape(XmlConversion &conversion) {
    conversion.rival("pugixml", [](std::span<const char> text, char *out, std::size_t) {
        pugi::xml_document document;
        document.load_buffer(text.data(), text.size(), pugi::parse_escapes | pugi::parse_fragment, pugi::encoding_utf8);
        return keep(document.first_child().value(), out);
    });
}
#else
void addPugixmlEscape(XmlConversion &) {}
void addPugixmlUnescape(XmlConversion &) {}
#endif

#if defined(BENCH_HAS_LIBXML2)
void addLibxml2Escape(XmlConversion &conversion) {
    const auto escape = [](std::span<const char> text) {
        return xmlEncodeSpecialChars(nullptr, reinterpret_cast<const xmlChar *>(text.data()));
    };
    conversion.rival(
        "libxml2 xmlEncodeSpecialChars",
        [escape](std::span<const char> text, char *, std::size_t) {
            xmlFree(escape(text));
            return std::size_t{0};
        },
        [escape](std::span<const char> text, char *out, std::size_t) {
            xmlChar *const escaped = escape(text);
            const std::size_t length = keep(reinterpret_cast<const char *>(escaped), out);
            xmlFree(escaped);
            return length;
        });
}

void addLibxml2Unescape(XmlConversion &conversion) {
    const std::shared_ptr<xmlParserCtxt> context(xmlNewParserCtxt(), xmlFreeParserCtxt);
    xmlCtxtUseOptions(context.get(), XML_PARSE_HUGE);
    const auto unescape = [context](std::span<const char> text) {
        return xmlStringLenDecodeEntities(context.get(), reinterpret_cast<const xmlChar *>(text.data()),
                                          static_cast<int>(text.size()), XML_SUBSTITUTE_REF, 0, 0, 0);
    };
    conversion.rival(
        "libxml2 xmlStringLenDecodeEntities",
        [unescape](std::span<const char> text, char *, std::size_t) {
            xmlFree(unescape(text));
            return std::size_t{0};
        },
        [unescape](std::span<const char> text, char *out, std::size_t) {
            xmlChar *const plain = unescape(text);
            const std::size_t length = keep(reinterpret_cast<const char *>(plain), out);
            xmlFree(plain);
            return length;
        });
}
#else
void addLibxml2Escape(XmlConversion &) {}
void addLibxml2Unescape(XmlConversion &) {}
#endif

// The two directions have one signature.
auto ours(const char *function) {
    return [function](const Library &library) {
        return [convert = library.find<decltype(zelk_xmlify)>(function)](std::span<const char> in, char *out,
                                                                         std::size_t room) {
            return convert(out, static_cast<int>(room), in.data(), static_cast<int>(in.size()));
        };
    };
}

} // namespace

int main(int argc, char **argv) {
    Program program;
    for (const char *kind : {"sparse", "dense"}) {
        for (const Length length : allLengths) {
            program.cell("XML escape", kind, length, [=](Cell &cell) {
                auto conversion = std::make_unique<XmlConversion>(cell, markupTexts(kind, length));
                conversion->ours(ours("zelk_xmlify"));
                addGlibEscape(*conversion);
                addPugixmlEscape(*conversion);
                addLibxml2Escape(*conversion);
                return conversion;
            });
        }
    }
    for (const char *kind : {"sparse", "dense"}) {
        for (const Length length : allLengths) {
            program.cell("XML unescape", kind, length, [=](Cell &cell) {
                auto conversion = std::make_unique<XmlConversion>(cell, escapedTexts(kind, length));
                conversion->ours(ours("zelk_unxml"));
                addGlibUnescape(*conversion);
                addPugixmlUnescape(*conversion);
                addLibxml2Unescape(*conversion);
                return conversion;
            });
        }
    }
    return program.run(argc, argv);
}
