// Results as capsules of the Arrow PyCapsule interface. A result of Python may be handed out many times, so that each
// capsule holds a view: structures of its own over the buffers of one result, which live until the last view is gone.
// Consumers release from any thread, and need no interpreter for it.
#include "zelk_arrow.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

struct ArrowArrayStream {
    int (*get_schema)(ArrowArrayStream *, ArrowSchema *);
    int (*get_next)(ArrowArrayStream *, ArrowArray *);
    const char *(*get_last_error)(ArrowArrayStream *);
    void (*release)(ArrowArrayStream *);
    void *private_data;
};

// Of the interpreter that loads this file.
extern "C" {
void *PyCapsule_New(void *pointer, const char *name, void (*destructor)(void *));
void *PyCapsule_GetPointer(void *capsule, const char *name);
}

namespace {

// A result: the chunks of a column, all of one type.
struct Result {
    std::vector<ArrowArray> chunks;
    ArrowSchema schema{};
    std::atomic<int> owners{1};

    Result() = default;
    ~Result() {
        for (ArrowArray &chunk : chunks) {
            chunk.release(&chunk);
        }
        schema.release(&schema);
    }
    Result(const Result &) = delete;
    Result &operator=(const Result &) = delete;

    void drop() {
        if (owners.fetch_sub(1) == 1) {
            delete this;
        }
    }
};

// The structures of one view of an array or a schema.
template <class Structure>
struct View {
    Result *result;
    std::vector<Structure> children;
    std::vector<Structure *> pointers;
    Structure dictionary{};

    explicit View(Result *of) : result(of) { result->owners.fetch_add(1); }
    ~View() {
        for (Structure &child : children) {
            if (child.release != nullptr) {
                child.release(&child);
            }
        }
        if (dictionary.release != nullptr) {
            dictionary.release(&dictionary);
        }
        result->drop();
    }
    View(const View &) = delete;
    View &operator=(const View &) = delete;
};

template <class Structure>
void releaseView(Structure *structure) {
    delete static_cast<View<Structure> *>(structure->private_data);
    structure->release = nullptr;
}

template <class Structure>
void makeView(Result *result, const Structure &of, Structure &to) {
    auto view = std::make_unique<View<Structure>>(result);
    view->children.resize(static_cast<std::size_t>(of.n_children));
    for (std::size_t i = 0; i < view->children.size(); ++i) {
        makeView(result, *of.children[i], view->children[i]);
        view->pointers.push_back(&view->children[i]);
    }
    if (of.dictionary != nullptr) {
        makeView(result, *of.dictionary, view->dictionary);
    }
    to = of;
    to.children = view->pointers.data();
    to.dictionary = of.dictionary == nullptr ? nullptr : &view->dictionary;
    to.release = releaseView<Structure>;
    to.private_data = view.release();
}

struct StreamState {
    Result *result;
    std::size_t next = 0;
};

StreamState &stateOf(ArrowArrayStream *stream) {
    return *static_cast<StreamState *>(stream->private_data);
}

template <class Structure>
int tryView(Result *result, const Structure &of, Structure *to) {
    try {
        makeView(result, of, *to);
        return 0;
    } catch (const std::bad_alloc &) {
        return ENOMEM;
    }
}

int streamSchema(ArrowArrayStream *stream, ArrowSchema *schema) {
    Result *const result = stateOf(stream).result;
    return tryView(result, result->schema, schema);
}

int streamNext(ArrowArrayStream *stream, ArrowArray *array) {
    StreamState &state = stateOf(stream);
    if (state.next == state.result->chunks.size()) {
        array->release = nullptr;
        return 0;
    }
    return tryView(state.result, state.result->chunks[state.next++], array);
}

const char *streamError(ArrowArrayStream * /*stream*/) {
    return nullptr;
}

void streamRelease(ArrowArrayStream *stream) {
    stateOf(stream).result->drop();
    delete &stateOf(stream);
    stream->release = nullptr;
}

template <class Structure>
struct CapsuleName;
template <>
struct CapsuleName<ArrowArray> {
    static constexpr const char *value = "arrow_array";
};
template <>
struct CapsuleName<ArrowSchema> {
    static constexpr const char *value = "arrow_schema";
};
template <>
struct CapsuleName<ArrowArrayStream> {
    static constexpr const char *value = "arrow_array_stream";
};

template <class Structure>
void destroyCapsule(void *capsule) {
    auto *const structure = static_cast<Structure *>(PyCapsule_GetPointer(capsule, CapsuleName<Structure>::value));
    if (structure->release != nullptr) { // a consumer that took it over has set it to null
        structure->release(structure);
    }
    delete structure;
}

template <class Structure, class Fill>
void *makeCapsule(Fill fill) noexcept {
    auto *const structure = new (std::nothrow) Structure{};
    if (structure == nullptr || fill(*structure) != 0) {
        delete structure;
        return nullptr;
    }
    return PyCapsule_New(structure, CapsuleName<Structure>::value, destroyCapsule<Structure>);
}

} // namespace

extern "C" {

// Takes over the chunks and the schema; null without memory, and then they stay the caller's.
__attribute__((visibility("default"))) void *zelkPythonResult(const ArrowArray *chunks, std::size_t count,
                                                              const ArrowSchema *schema) {
    try {
        std::vector<ArrowArray> kept(chunks, chunks + count);
        auto *const result = new Result;
        result->chunks = std::move(kept);
        result->schema = *schema;
        return result;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

__attribute__((visibility("default"))) void zelkPythonDrop(void *result) {
    static_cast<Result *>(result)->drop();
}

// With the interpreter's lock held; null with its error set, or without memory.
__attribute__((visibility("default"))) void *zelkPythonSchemaCapsule(void *result) {
    auto *const of = static_cast<Result *>(result);
    return makeCapsule<ArrowSchema>([of](ArrowSchema &schema) { return tryView(of, of->schema, &schema); });
}

__attribute__((visibility("default"))) void *zelkPythonArrayCapsule(void *result, std::size_t chunk) {
    auto *const of = static_cast<Result *>(result);
    return makeCapsule<ArrowArray>([of, chunk](ArrowArray &array) { return tryView(of, of->chunks[chunk], &array); });
}

__attribute__((visibility("default"))) void *zelkPythonStreamCapsule(void *result) {
    auto *const of = static_cast<Result *>(result);
    return makeCapsule<ArrowArrayStream>([of](ArrowArrayStream &stream) {
        auto *const state = new (std::nothrow) StreamState{of};
        if (state == nullptr) {
            return ENOMEM;
        }
        of->owners.fetch_add(1);
        stream = {streamSchema, streamNext, streamError, streamRelease, state};
        return 0;
    });
}

} // extern "C"
