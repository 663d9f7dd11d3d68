// uVxNodeStore: the memory of a document's nodes.
#include "uVxNodeStore.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

namespace vx {

namespace {
// Every allocation starts with one word: the store's address, with the low bit set for a node
// too large for the blocks (then it has its own heap allocation), or nullptr for a plain heap
// allocation without store.
constexpr std::size_t cPrefix = sizeof(void*);
constexpr uintptr_t cLargeTag = 1;
}  // namespace

TVxNodeStore::~TVxNodeStore() { ReleaseBlocks(); }

void* TVxNodeStore::Allocate(TVxNodeStore* AStore, std::size_t ASize) {
  const std::size_t total = (ASize + cPrefix + cGranule - 1) / cGranule * cGranule;
  uintptr_t tag = 0;
  void* raw;
  if (AStore && total <= cMaxSmall) {
    raw = AStore->AllocateSmall(total);
    tag = reinterpret_cast<uintptr_t>(AStore);
  } else {
    raw = std::malloc(total);
    if (!raw) throw std::bad_alloc();
    if (AStore) tag = reinterpret_cast<uintptr_t>(AStore) | cLargeTag;
  }
  if (AStore) ++AStore->FLive;
  std::memcpy(raw, &tag, sizeof tag);
  return static_cast<char*>(raw) + cPrefix;
}

void TVxNodeStore::Deallocate(void* APtr, std::size_t ASize) noexcept {
  if (!APtr) return;
  void* raw = static_cast<char*>(APtr) - cPrefix;
  uintptr_t tag;
  std::memcpy(&tag, raw, sizeof tag);
  auto* store = reinterpret_cast<TVxNodeStore*>(tag & ~cLargeTag);
  if (!store || (tag & cLargeTag)) {
    std::free(raw);
  } else if (ASize) {
    store->DeallocateSmall(raw, (ASize + cPrefix + cGranule - 1) / cGranule * cGranule);
  }
  // (a size of 0 comes from a constructor that raised: the chunk is left to the store's release)
  if (!store) return;
  if (--store->FLive == 0) {
    delete store;
  } else if (store->FLive == 1 && !store->FDocumentGone) {
    store->Emptied();
  }
}

void TVxNodeStore::Emptied() noexcept {
  // Only the document is left: the space goes back to the heap, or is kept for a load.
  if (!FKeepSpace) {
    ReleaseBlocks();
    return;
  }
  while (FBlocks) {
    TBlock* next = FBlocks->Next;
    FBlocks->Next = FSpare;
    FSpare = FBlocks;
    FBlocks = next;
  }
  FCursor = FEnd = nullptr;
  std::fill(std::begin(FFree), std::end(FFree), nullptr);
}

void* TVxNodeStore::AllocateSmall(std::size_t ASize) {
  void*& head = FFree[ASize / cGranule];
  if (head) {
    void* chunk = head;
    std::memcpy(&head, chunk, sizeof head);
    return chunk;
  }
  if (static_cast<std::size_t>(FEnd - FCursor) < ASize) {
    // The rest of the current block becomes a free chunk of its size, then a new block comes.
    if (const auto rest = static_cast<std::size_t>(FEnd - FCursor); rest >= cPrefix + cGranule) DeallocateSmall(FCursor, rest);
    TBlock* block = FSpare;
    if (block) {
      FSpare = block->Next;
    } else {
      block = static_cast<TBlock*>(std::malloc(FNextBlock));
      if (!block) throw std::bad_alloc();
      block->Size = FNextBlock;
      FNextBlock = std::min(FNextBlock * 2, cMaxBlock);
    }
    block->Next = FBlocks;
    FBlocks = block;
    FCursor = reinterpret_cast<char*>(block) + sizeof(TBlock);
    FEnd = reinterpret_cast<char*>(block) + block->Size;
  }
  void* chunk = FCursor;
  FCursor += ASize;
  return chunk;
}

void TVxNodeStore::DeallocateSmall(void* ARaw, std::size_t ASize) noexcept {
  void*& head = FFree[ASize / cGranule];
  std::memcpy(ARaw, &head, sizeof head);
  head = ARaw;
}

void TVxNodeStore::FreeList(TBlock* ABlocks) noexcept {
  while (ABlocks) {
    TBlock* next = ABlocks->Next;
    std::free(ABlocks);
    ABlocks = next;
  }
}

void TVxNodeStore::ReleaseBlocks() noexcept {
  FreeList(std::exchange(FBlocks, nullptr));
  ReleaseSpare();
  FCursor = FEnd = nullptr;
  std::fill(std::begin(FFree), std::end(FFree), nullptr);
  FNextBlock = cFirstBlock;
}

void TVxNodeStore::ReleaseSpare() noexcept { FreeList(std::exchange(FSpare, nullptr)); }

void TVxNodeStore::ReleaseDocument() noexcept {
  FDocumentGone = true;
  if (--FLive == 0) delete this;
}

TVxNodeStore* TVxNodeStore::Of(const void* APtr) noexcept {
  uintptr_t tag;
  std::memcpy(&tag, static_cast<const char*>(APtr) - cPrefix, sizeof tag);
  return reinterpret_cast<TVxNodeStore*>(tag & ~cLargeTag);
}

}  // namespace vx
