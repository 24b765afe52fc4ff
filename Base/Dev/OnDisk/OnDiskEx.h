#pragma once
// Base of every on-disk view. A view is bound to a buffer and reads its
// fields from it on every call; it never overlays a structure on raw memory.
// A nested view knows only its container, field number and element index and
// asks the container where it lies, so offsets are computed afresh on every
// access and a view stays valid when its buffer's bytes change.

#include <cstdint>
#include <string_view>

#include "Base/Dev/AssertionFailure.h"
#include "Base/Dev/MemBufferHandle.h"

class OnDiskEx {
public:
    OnDiskEx(BufferHandle bh, uint64_t offset, OnDiskEx* containingStruct, uint32_t fieldId, uint64_t index,
             const char* name);
    virtual ~OnDiskEx() = default;

    // Absolute offset of nested field fieldId, element index. Views answer only
    // for their nested views; anything else is "GetStructOffset invalid count".
    virtual uint64_t GetStructOffset(uint32_t fieldId, uint64_t index) const = 0;

    // Detects a view that was copied or moved byte-wise before it is used.
    void CheckThis() const;
    // Binds a nested view: only ever to the same buffer, only inside the same container.
    void SetUpSubStruct(const BufferHandle& bh, OnDiskEx* containingStruct, uint32_t fieldId, uint64_t index);
    // Absolute offset of the view's first byte, walking up the container chain.
    uint64_t GetOD_ZeroOffset() const;

    uint64_t GetSize() const { return mSize; }
    void SetSize(uint64_t size) { mSize = size; }
    const BufferHandle& GetBufferHandle() const { return m_bh; }
    std::string_view GetName() const { return mName; }

protected:
    BufferHandle m_bh;
    const OnDiskEx* m_base;
    uint64_t mSize = 0;
    OnDiskEx* m_containingStruct;
    uint32_t mFieldId;
    uint64_t mIndex;
    uint64_t mOffset;
    // Always a string literal: a long EPBR chain holds many views, and a
    // per-view copy of the name would cost an allocation each.
    const char* mName;
};

// The failure every GetStructOffset gives for a field that is not a nested view.
#define ONDISK_INVALID_FIELD() throw CheckFailure(LS_FUNCTION_NAME, __FILE__, __LINE__, "GetStructOffset invalid count")

// The two preconditions of an array getter over N elements; a count of all
// ones means "to the end of the array". N must be a literal: it is part of the text.
#define ONDISK_ARRAY_RANGE(N, startIndex, count)                                     \
    do {                                                                             \
        PRECONDITION_MSG((startIndex) < (N), "startIndex < " #N);                    \
        if ((count) == UINT64_MAX) (count) = (N) - (startIndex);                     \
        PRECONDITION_MSG((count) <= (N) - (startIndex), "startIndex + count <= " #N); \
    } while (0)
