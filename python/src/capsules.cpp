// What Python needs of C: results as capsules of the Arrow PyCapsule interface, and progress. A result of Python may be
// handed out many times, so that each capsule holds a view: structures of its own over the buffers of one result, which
// live until the last view is gone. Consumers release from any thread, and need no interpreter for it.
#include "zelk_arrow.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
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
int PyGILState_Ensure();
void PyGILState_Release(int state);
void *PyList_GetItem(void *list, std::ptrdiff_t index);
int PyList_SetItem(void *list, std::ptrdiff_t index, void *item);
void *PyObject_CallFunction(void *callable, const char *format, ...);
int PyObject_IsTrue(void *object);
void PyErr_Fetch(void **type, void **value, void **traceback);
void PyErr_NormalizeException(void **type, void **value, void **traceback);
int PyException_SetTraceback(void *exception, void *traceback);
void Py_DecRef(void *object);
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
        if (schema.release != nullptr) {
            schema.release(&schema);
        }
    }
    Result(const Result &) = delete;
    Result &operator=(const Result &) = delete;

    void drop() {
        if (owners.fetch_sub(1) == 1) {
            delete this;
        }
    }
};

// The structures below an array or a schema.
template <class Structure>
struct Parts {
    std::vector<Structure> children;
    std::vector<Structure *> pointers;
    Structure dictionary{};

    explicit Parts(const Structure &of) : children(static_cast<std::size_t>(of.n_children)) {
        for (Structure &child : children) {
            pointers.push_back(&child);
        }
    }
    ~Parts() {
        for (Structure &child : children) {
            if (child.release != nullptr) {
                child.release(&child);
            }
        }
        if (dictionary.release != nullptr) {
            dictionary.release(&dictionary);
        }
    }
    Parts(const Parts &) = delete;
    Parts &operator=(const Parts &) = delete;
};

template <class Owner, class Structure>
void releaseOwner(Structure *structure) {
    delete static_cast<Owner *>(structure->private_data);
    structure->release = nullptr;
}

template <class Owner, class Structure>
void own(std::unique_ptr<Owner> owner, const Structure &like, Structure &to) {
    to = like;
    to.children = owner->pointers.data();
    to.dictionary = like.dictionary == nullptr ? nullptr : &owner->dictionary;
    to.release = releaseOwner<Owner, Structure>;
    to.private_data = owner.release();
}

// A view needs no result for a schema of this library, whose texts are constants.
template <class Structure>
struct View : Parts<Structure> {
    Result *result;

    View(Result *resultOf, const Structure &of) : Parts<Structure>(of), result(resultOf) {
        if (result != nullptr) {
            result->owners.fetch_add(1);
        }
    }
    ~View() {
        if (result != nullptr) {
            result->drop();
        }
    }
    View(const View &) = delete;
    View &operator=(const View &) = delete;
};

template <class Structure>
void makeView(Result *result, const Structure &of, Structure &to) {
    auto view = std::make_unique<View<Structure>>(result, of);
    for (std::size_t i = 0; i < view->children.size(); ++i) {
        makeView(result, *of.children[i], view->children[i]);
    }
    if (of.dictionary != nullptr) {
        makeView(result, *of.dictionary, view->dictionary);
    }
    own(std::move(view), of, to);
}

// An array with buffers of its own: arrays of one type, one after the other. Those of this library have no offset.
using Arrays = std::vector<const ArrowArray *>;

struct TooLarge {};

struct Joined : Parts<ArrowArray> {
    using Parts::Parts;

    std::vector<std::unique_ptr<std::byte[]>> blocks;
    std::vector<const void *> buffers;

    template <class Value>
    Value *add(std::int64_t count) {
        blocks.push_back(std::make_unique_for_overwrite<std::byte[]>(static_cast<std::size_t>(count) * sizeof(Value)));
        buffers.push_back(blocks.back().get());
        return reinterpret_cast<Value *>(blocks.back().get());
    }
};

// Bits of a buffer, of a null one ones.
void joinBits(const Arrays &arrays, std::size_t buffer, std::int64_t length, Joined &joined) {
    auto *const to = joined.add<unsigned char>((length + 7) / 8);
    std::int64_t at = 0;
    for (const ArrowArray *const array : arrays) {
        const auto *const from = static_cast<const unsigned char *>(array->buffers[buffer]);
        for (std::int64_t i = 0; i < array->length; ++i, ++at) {
            const unsigned int bit = from == nullptr ? 1U : (from[i >> 3] >> (i & 7)) & 1U;
            const unsigned int below = (at & 7) == 0 ? 0U : to[at >> 3];
            to[at >> 3] = static_cast<unsigned char>(below | bit << (at & 7));
        }
    }
}

void joinBytes(const Arrays &arrays, std::int64_t length, std::int64_t width, Joined &joined) {
    auto *to = joined.add<unsigned char>(length * width);
    for (const ArrowArray *const array : arrays) {
        const auto size = static_cast<std::size_t>(array->length * width);
        std::memcpy(to, array->buffers[1], size);
        to += size;
    }
}

template <class Offset>
void joinTexts(const Arrays &arrays, std::int64_t length, Joined &joined) {
    auto *ends = joined.add<Offset>(length + 1);
    std::int64_t used = 0;
    *ends++ = 0;
    for (const ArrowArray *const array : arrays) {
        const auto *const offsets = static_cast<const Offset *>(array->buffers[1]);
        if (offsets[array->length] > std::numeric_limits<Offset>::max() - used) {
            throw TooLarge();
        }
        for (std::int64_t i = 1; i <= array->length; ++i) {
            *ends++ = static_cast<Offset>(offsets[i] + used);
        }
        used += offsets[array->length];
    }
    auto *to = joined.add<unsigned char>(used);
    for (const ArrowArray *const array : arrays) {
        const auto size = static_cast<std::size_t>(static_cast<const Offset *>(array->buffers[1])[array->length]);
        std::memcpy(to, array->buffers[2], size);
        to += size;
    }
}

void joinValues(char format, const Arrays &arrays, std::int64_t length, Joined &joined) {
    switch (format) {
    case '+':
        break;
    case 'b':
        joinBits(arrays, 1, length, joined);
        break;
    case 'u':
    case 'z':
        joinTexts<std::int32_t>(arrays, length, joined);
        break;
    case 'U':
    case 'Z':
        joinTexts<std::int64_t>(arrays, length, joined);
        break;
    case 'S':
        joinBytes(arrays, length, 2, joined);
        break;
    case 'I':
        joinBytes(arrays, length, 4, joined);
        break;
    default:
        joinBytes(arrays, length, 1, joined);
    }
}

void join(const ArrowSchema &schema, const Arrays &arrays, ArrowArray &to) {
    auto joined = std::make_unique<Joined>(*arrays[0]);
    ArrowArray like = *arrays[0];
    like.length = 0;
    like.null_count = 0;
    for (const ArrowArray *const array : arrays) {
        like.length += array->length;
        like.null_count += array->null_count;
    }
    if (like.null_count == 0) {
        joined->buffers.push_back(nullptr);
    } else {
        joinBits(arrays, 0, like.length, *joined);
    }
    joinValues(*schema.format, arrays, like.length, *joined);
    for (std::size_t i = 0; i < joined->children.size(); ++i) {
        Arrays children;
        for (const ArrowArray *const array : arrays) {
            children.push_back(array->children[i]);
        }
        join(*schema.children[i], children, joined->children[i]);
    }
    if (schema.dictionary != nullptr) { // all calls have the same one
        join(*schema.dictionary, {arrays[0]->dictionary}, joined->dictionary);
    }
    like.buffers = joined->buffers.data();
    own(std::move(joined), like, to);
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

// The result of one chunk that is the chunks of `result` one after the other; `result` stays as it is. A number of
// zelkArrowStatus: the texts may pass what their offsets hold.
__attribute__((visibility("default"))) int zelkPythonJoin(const void *result, void **joined) {
    try {
        const auto *const of = static_cast<const Result *>(result);
        Arrays arrays;
        for (const ArrowArray &chunk : of->chunks) {
            arrays.push_back(&chunk);
        }
        auto whole = std::make_unique<Result>();
        whole->chunks.reserve(1);
        makeView<ArrowSchema>(nullptr, of->schema, whole->schema);
        ArrowArray array{};
        join(of->schema, arrays, array);
        whole->chunks.push_back(array);
        *joined = whole.release();
        return ZelkArrowDone;
    } catch (const TooLarge &) {
        return ZelkArrowTooLarge;
    } catch (const std::bad_alloc &) {
        return ZelkArrowNoMemory;
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

// zelkArrowOutput::progress for a list of a function and null: calls function(done), and stops where that is true. What
// it raises takes the place of the null, and stops as well; an interrupt by the user would be lost in ctypes.
__attribute__((visibility("default"))) int zelkPythonTell(std::int64_t done, std::int64_t /*rows*/, void *context) {
    const int state = PyGILState_Ensure();
    void *const answer = PyObject_CallFunction(PyList_GetItem(context, 0), "L", static_cast<long long>(done));
    int stop = answer == nullptr ? -1 : PyObject_IsTrue(answer);
    if (answer != nullptr) {
        Py_DecRef(answer);
    }
    if (stop < 0) {
        void *type = nullptr;
        void *value = nullptr;
        void *traceback = nullptr;
        PyErr_Fetch(&type, &value, &traceback);
        PyErr_NormalizeException(&type, &value, &traceback);
        if (traceback != nullptr) {
            PyException_SetTraceback(value, traceback);
            Py_DecRef(traceback);
        }
        Py_DecRef(type);
        PyList_SetItem(context, 1, value); // takes over the reference
        stop = 1;
    }
    PyGILState_Release(state);
    return stop;
}

} // extern "C"
