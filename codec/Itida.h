#ifndef CODEC_ITIDA_H
#define CODEC_ITIDA_H

// Private: the canonical form of an e-invoice, measured before it is written.

#include <cstdint>
#include <string_view>

#include "support/Json.h"
#include "support/Memory.h"
#include "support/json/Item.h"

namespace contentcoding {

// Where a name stands in the canonical form, with its quotation marks; size 0: no name.
struct WrittenName {
    std::uint64_t at = 0;
    std::uint64_t size = 0;
};

// The objects and arrays that a walk is in. They are kept here and not on the thread's stack, so
// that a deep document needs no more of that than a flat one. A second walk needs no more memory.
class OpenContainers {
public:
    struct Frame {
        const JsonItem* next;
        const JsonItem* end;
        WrittenName name;  // what an array repeats before each element
        bool isObject;
    };

    bool isEmpty() const { return m_frames.size() == 0; }
    Frame& last() {
        return *reinterpret_cast<Frame*>(m_frames.bytes() + m_frames.size() - kFrameBytes);
    }
    [[nodiscard]] bool push(const JsonContainer& container, WrittenName name, bool isObject) {
        const auto items = JsonItem::of(container);
        const Frame frame{items.data(), items.data() + items.size(), name, isObject};
        return m_frames.append(&frame, kFrameBytes);
    }
    void pop() { m_frames.truncate(m_frames.size() - kFrameBytes); }

private:
    static constexpr unsigned int kFrameBytes = sizeof(Frame);

    ByteStorage m_frames;
};

// Hands the tokens of the canonical form of `root`, in their order, to a visitor:
//   WrittenName name(std::string_view)   a member's name, not yet in upper case
//   bool again(WrittenName)              what name() returned, once more
//   bool value(std::string_view)         a value, not yet escaped
// The walk ends when one returns false, or a name of size 0. False then, and when memory is short.
template <class Visitor>
[[nodiscard]] bool walkItida(const JsonContainer& root, OpenContainers& open, Visitor& visitor) {
    if (!open.push(root, {}, true)) return false;
    while (!open.isEmpty()) {
        OpenContainers::Frame& frame = open.last();
        if (frame.next == frame.end) {
            open.pop();
            continue;
        }
        const JsonItem& item = *frame.next++;
        WrittenName own;  // what the item repeats if it is an array
        if (frame.isObject) {
            own = visitor.name(item.name);
            if (own.size == 0) return false;
            if (*item.name == '\0') own = {};
        } else if (frame.name.size > 0 && !visitor.again(frame.name)) {
            return false;
        }
        const bool done = item.isContainer()
                              ? open.push(*item.nested, own, item.type == kJsonObject)
                              : visitor.value(item.value());
        if (!done) return false;
    }
    return true;
}

enum class ItidaStatus {
    kOk,
    kNotJson,        // fault() says where and why
    kNoDocuments,    // there is no member "documents"
    kNoSuchElement,  // it has no such element, or that is not an object
    kTooLarge,
    kNoMemory
};

// A document and its canonical form. Call the functions in this order, and none after one that did
// not return kOk.
class ItidaForm {
public:
    ItidaForm();

    // False when memory was too short even for an empty document.
    bool exists() const { return m_document != nullptr; }

    [[nodiscard]] ItidaStatus load(std::string_view json);
    const JsonFault& fault() const { return m_document->fault(); }

    // The value of the first member "documents"; null without one.
    const JsonItem* documents() const;

    // Has the form made of an element of "documents". When that fails, it stays that of the whole
    // document, and the form can still be made.
    [[nodiscard]] ItidaStatus chooseDocument(std::size_t index);

    // Where in the text the element stands, or should stand: then it is the offset of what ends
    // the array, or the whole document, before it; or of a value of "documents" that is not an
    // array. `json` is what was loaded.
    std::size_t placeOfDocument(std::string_view json, std::size_t index) const;

    // Computes the size of the form. It stops at kTooLarge, with nothing allocated for the form.
    [[nodiscard]] ItidaStatus measure(std::uint64_t maxSize);
    std::uint64_t size() const { return m_size; }

    // Writes size() bytes.
    void write(char* form);

private:
    ClsJsonObject* m_document;
    const JsonContainer* m_chosen;
    RefCountedObjectOwner m_documentOwner;
    OpenContainers m_open;
    std::uint64_t m_size = 0;
};

}  // namespace contentcoding

#endif
