// uVxNodeStore: the memory of a document's nodes: growing blocks with free lists by size,
// every allocation prefixed with its store's address. Internal to the library.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vx {

/// The memory of one document's nodes (DOM or JSON): carved from growing blocks, and given back to free lists
/// by size, so loading a tree costs no allocator call per node and reloading reuses the space.
/// Every allocation carries the store's address just before the node, so a node finds its store
/// after it moved to another document or outlived its own. The store lives while its document
/// or any node from it lives. When only the document is left, the blocks are released, except
/// while a load clears the document: then they are kept for the new tree (no fresh pages to
/// touch), and the ones the new tree did not need are released when the load ends.
class TVxNodeStore {
 public:
  TVxNodeStore() = default;
  TVxNodeStore(const TVxNodeStore&) = delete;
  TVxNodeStore& operator=(const TVxNodeStore&) = delete;
  /// Memory for a node of ASize bytes (nullptr store: the plain heap).
  static void* Allocate(TVxNodeStore* AStore, std::size_t ASize);
  /// Gives back what Allocate returned.
  static void Deallocate(void* APtr, std::size_t ASize) noexcept;
  /// The store of a node (or value) allocated by Allocate; nullptr for the plain heap.
  static TVxNodeStore* Of(const void* APtr) noexcept;
  /// The document lets go of its store.
  void ReleaseDocument() noexcept;
  /// While on, emptying the store keeps its blocks for reuse.
  void SetKeepSpace(bool AValue) noexcept { FKeepSpace = AValue; }
  /// Releases the kept blocks that were not used again.
  void ReleaseSpare() noexcept;

 private:
  static constexpr std::size_t cGranule = 8;
  static constexpr std::size_t cMaxSmall = 512;  // larger nodes come from the plain heap
  static constexpr std::size_t cFirstBlock = 2048, cMaxBlock = 64 * 1024;
  struct TBlock {
    TBlock* Next;
    std::size_t Size;
  };
  void* AllocateSmall(std::size_t ASize);
  void DeallocateSmall(void* ARaw, std::size_t ASize) noexcept;
  void Emptied() noexcept;
  void ReleaseBlocks() noexcept;
  static void FreeList(TBlock* ABlocks) noexcept;

 protected:
  virtual ~TVxNodeStore();

 private:

  void* FFree[cMaxSmall / cGranule + 1] = {};  // free chunks by size in granules
  char* FCursor = nullptr;
  char* FEnd = nullptr;
  TBlock* FBlocks = nullptr;  // in use, the newest first
  TBlock* FSpare = nullptr;   // kept for reuse
  std::size_t FNextBlock = cFirstBlock;
  std::size_t FLive = 1;  // allocations alive, plus one while the document holds the store
  bool FDocumentGone = false;
  bool FKeepSpace = false;
};

}  // namespace vx
