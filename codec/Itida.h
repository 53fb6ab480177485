#ifndef CODEC_ITIDA_H
#define CODEC_ITIDA_H

// Private: the canonical form of an e-invoice, measured before it is written.

#include "codec/CanonicalForm.h"
#include "support/Memory.h"

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
        const JsonContainer* container;
        WrittenName name;  // what an array repeats before each element
        int next;          // the index of the next item
        bool isObject;
    };

    bool isEmpty() const { return m_frames.size() == 0; }
    Frame& last() {
        return *reinterpret_cast<Frame*>(m_frames.bytes() + m_frames.size() - kFrameBytes);
    }
    [[nodiscard]] bool push(const Frame& frame) { return m_frames.append(&frame, kFrameBytes); }
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
    if (!open.push({&root, {}, 0, true})) return false;
    while (!open.isEmpty()) {
        auto& [container, repeated, next, isObject] = open.last();
        if (next == container->get_Size()) {
            open.pop();
            continue;
        }
        const int i = next++;
        WrittenName own;  // what the item repeats if it is an array
        if (isObject) {
            const std::string_view name = static_cast<const ClsJsonObject*>(container)->nameView(i);
            const WrittenName written = visitor.name(name);
            if (written.size == 0) return false;
            if (!name.empty()) own = written;
        } else if (repeated.size > 0 && !visitor.again(repeated)) {
            return false;
        }
        const JsonContainer* const nested = container->nestedAt(i);
        const bool done = nested ? open.push({nested, own, 0, container->TypeAt(i) == kJsonObject})
                                 : visitor.value(container->valueView(i));
        if (!done) return false;
    }
    return true;
}

// A document and its canonical form. Call the functions in this order, and none after one that did
// not return kOk.
class ItidaForm {
public:
    ItidaForm();

    // False when memory was too short even for an empty document.
    bool exists() const { return m_document != nullptr; }

    [[nodiscard]] CanonicalStatus load(std::string_view json);
    const JsonFault& fault() const { return m_document->fault(); }

    // Has the form made of the first of "documents", if there is that member.
    [[nodiscard]] CanonicalStatus chooseFirst();

    // Computes the size of the form. It stops at kTooLarge, with nothing allocated for the form.
    [[nodiscard]] CanonicalStatus measure(std::uint64_t maxSize);
    std::uint64_t size() const { return m_size; }

    // Writes size() bytes.
    void write(char* form);

private:
    ClsJsonObject* m_document;
    ClsJsonObject* m_chosen;
    RefCountedObjectOwner m_documentOwner, m_firstOwner;
    OpenContainers m_open;
    std::uint64_t m_size = 0;
};

}  // namespace contentcoding

#endif
