#include "Utility/Layscan/Model/AlignmentClassifier.h"

namespace nsLayout {

namespace {
constexpr uint64_t kMiB = 1048576;
}

AlignmentClassifier::AlignmentClassifier(uint32_t sectorsPerTrack) : mSectorsPerTrack(sectorsPerTrack) {}

void AlignmentClassifier::Add(uint64_t a, uint64_t b, uint32_t bytesPerSector) {
    const uint64_t aBytes = a * bytesPerSector;
    const uint64_t bBytes = b * bytesPerSector;
    State cls;
    if (a % mSectorsPerTrack == 0 && b % mSectorsPerTrack == 0)
        cls = State::Cylinder;
    else if ((aBytes | bBytes) % (4 * kMiB) == 0)
        cls = State::FourMb;
    else if (aBytes % (3 * kMiB) == 0 && bBytes % (3 * kMiB) == 0)
        cls = State::ThreeMb;
    else if ((aBytes | bBytes) % (2 * kMiB) == 0)
        cls = State::TwoMb;
    else if ((aBytes | bBytes) % kMiB == 0)
        cls = State::OneMb;
    else
        return;
    if (mState == State::Unset)
        mState = cls;
    else if (mState != cls)
        mState = State::Mixed;
}

std::wstring AlignmentClassifier::GetLabel() const {
    switch (mState) {
        case State::Cylinder: return L"Cylinder";
        case State::OneMb: return L"1 MB";
        case State::TwoMb: return L"2 MB";
        case State::ThreeMb: return L"3 MB";
        case State::FourMb: return L"4 MB";
        case State::Unset:
        case State::Mixed: break;
    }
    return L"None";
}

}  // namespace nsLayout
