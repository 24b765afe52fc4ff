#include "Base/Dev/OnDisk/OnDiskEx.h"

OnDiskEx::OnDiskEx(BufferHandle bh, uint64_t offset, OnDiskEx* containingStruct, uint32_t fieldId, uint64_t index,
                   const char* name)
    : m_bh(std::move(bh)),
      m_base(this),
      m_containingStruct(containingStruct),
      mFieldId(fieldId),
      mIndex(index),
      mOffset(offset),
      mName(name ? name : "") {}

void OnDiskEx::CheckThis() const { CHECK(m_base == this); }

void OnDiskEx::SetUpSubStruct(const BufferHandle& bh, OnDiskEx* containingStruct, uint32_t fieldId, uint64_t index) {
    CHECK(!m_bh || m_bh.get() == bh.get());
    CHECK(m_containingStruct == NULL || m_containingStruct == containingStruct);
    m_bh = bh;
    m_containingStruct = containingStruct;
    mFieldId = fieldId;
    mIndex = index;
    mOffset = 0;
}

uint64_t OnDiskEx::GetOD_ZeroOffset() const {
    CHECK(m_bh);
    if (m_containingStruct) return m_containingStruct->GetStructOffset(mFieldId, mIndex);
    return mOffset;
}
