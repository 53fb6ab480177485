#include "support/RefCounted.h"

RefCountedObject::~RefCountedObject() = default;

void RefCountedObject::decRefCount() {
    RefCountedObject& object = counted();
    if (object.m_references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete &object;
}
