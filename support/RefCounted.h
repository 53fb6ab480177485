#ifndef SUPPORT_REFCOUNTED_H
#define SUPPORT_REFCOUNTED_H

#include <atomic>
#include <utility>
#include "contentcoding/export.hpp"

// An object that lives as long as somebody holds a reference to it. Whoever makes one holds the
// first reference; giving back the last one deletes the object. An object may be a part of another,
// the whole: references to a part are references to the whole, which deletes its parts. References
// may be taken and given back on several threads at once.
class CONTENTCODING_EXPORT RefCountedObject {
public:
    RefCountedObject(const RefCountedObject&) = delete;
    RefCountedObject& operator=(const RefCountedObject&) = delete;

    void incRefCount() { counted().m_references.fetch_add(1, std::memory_order_relaxed); }

    // Afterwards the object must not be used, except through another reference.
    void decRefCount();

    unsigned int getRefCount() { return counted().m_references.load(std::memory_order_relaxed); }

protected:
    RefCountedObject() = default;
    explicit RefCountedObject(RefCountedObject* whole) : m_whole(whole) {}
    virtual ~RefCountedObject();

    bool isPart() const { return m_whole != nullptr; }

private:
    RefCountedObject& counted() { return m_whole ? *m_whole : *this; }

    std::atomic<unsigned int> m_references{1};
    RefCountedObject* m_whole = nullptr;  // which is not a part itself
};

// Gives one reference back when it goes out of scope. It is made empty; take() hands it an object
// together with one reference to it, or null, which it leaves alone.
class CONTENTCODING_EXPORT RefCountedObjectOwner {
public:
    RefCountedObjectOwner() = default;
    ~RefCountedObjectOwner() { take(nullptr); }
    RefCountedObjectOwner(const RefCountedObjectOwner&) = delete;
    RefCountedObjectOwner& operator=(const RefCountedObjectOwner&) = delete;

    // Gives back the reference that was held before.
    void take(RefCountedObject* object) {
        if (RefCountedObject* const held = std::exchange(m_object, object)) held->decRefCount();
    }

private:
    RefCountedObject* m_object = nullptr;
};

#endif
