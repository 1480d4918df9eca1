// Fuzz target: sequences of calls on three CHandle objects and the blocks they hold. Input: conditions
// (3 bytes), then one byte for each call: the object in the low two bits, the call in the others.
#include "fuzz/fuzz_input.h"

#include "dibprep/memory.h"

#include <algorithm>
#include <memory>

namespace {

using namespace fuzz;

constexpr std::size_t BlockBytes = 24;

// Calls whose misuse the documents forbid (indexing an empty object, two owners) are kept in bounds here.
void Call(unsigned what, std::unique_ptr<CHandle>& object, std::unique_ptr<CHandle>& other) {
    switch (what) {
    case 0:
        object->Lock();
        break;
    case 1:
        object->UnLock();
        break;
    case 2:
        object->Free();
        break;
    case 3:
        object->Cleanup();
        break;
    case 4:
        object->SetHandle(GlobalAlloc(66, BlockBytes));
        break;
    case 5:
        object->UnLock();
        FreeBlock(object->GetHandle());
        break;
    case 6: { // detached while it is held elsewhere
        void* const held = object->m_hMem;
        const int locks = held && testhost::IsLive(held) ? testhost::LockCount(held) : 0;
        object->Detach();
        for (int i = 0; i < locks; ++i)
            GlobalUnlock(held);
        FreeBlock(held);
        break;
    }
    case 7:
        Require((object->IsEmpty() != 0) == (object->m_hMem == nullptr), "IsEmpty is wrong");
        break;
    case 8:
        if (!object->IsEmpty() && object->Lock())
            (*object)[static_cast<int>(BlockBytes) - 1] = 7;
        break;
    case 9: // assigned, and one side detached
        if (object != other) {
            object->Free();
            *object = *other;
            other->Detach();
        }
        break;
    case 10:
        object = std::make_unique<CHandle>(GlobalAlloc(66, BlockBytes));
        break;
    case 11:
        object = std::make_unique<CHandle>(nullptr);
        break;
    case 12: { // locked by its maker
        void* const made = GlobalAlloc(66, BlockBytes);
        if (made && GlobalLock(made))
            GlobalLock(made);
        object = std::make_unique<CHandle>(made);
        break;
    }
    case 13: // a handle that is none
        object = std::make_unique<CHandle>(&object);
        break;
    case 14: {
        unsigned char* const bytes = *object;
        if (bytes)
            std::fill_n(bytes, BlockBytes, static_cast<unsigned char>(what));
        break;
    }
    default:
        static_cast<void>(static_cast<unsigned int*>(*object));
        static_cast<void>(static_cast<long*>(*object));
        break;
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const Conditions conditions(input);
    conditions.Prepare();
    conditions.PlanFailures();
    {
        std::unique_ptr<CHandle> objects[4];
        for (auto& object : objects)
            object = std::make_unique<CHandle>(nullptr);
        for (int calls = 0; calls < 256 && !input.AtEnd(); ++calls) {
            const unsigned code = input.U8();
            Call(code >> 2 & 15, objects[code & 3], objects[(code >> 6) & 3]);
        }
    }
    Conditions::TakeFailuresBack();
    Require(testhost::OutstandingLocks() == 0, "a block stays locked");
    Require(testhost::LiveBlocks() == 0, "a block is left");
    testhost::Reset();
    return 0;
}
