// The indexed file on disk: one table of offsets per structure, used by the engine's readers and
// writers and by the checker alike. docs/indexed-files.md describes the format in words.
//
// All integers are big-endian. Node n of the index file lies at (n - 1) * node size; node 1 is the
// dictionary. Slot r of the data file lies at (r - 1) * slot length.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace isam::layout {

// Node sizes are whole units of 512 bytes.
inline constexpr std::size_t kNodeUnit = 512;
inline constexpr std::size_t kDefaultNodeSize = 1024;
inline constexpr std::size_t kMaxNodeUnits = 32;
// The last bytes of every node, never used by entries.
inline constexpr std::size_t kNodeTail = 4;

inline constexpr std::uint32_t kDictionaryNode = 1;

// Dictionary node: offsets (width in bytes).
namespace dictionary {
inline constexpr std::array<std::uint8_t, 4> kSignature{0xFE, 0x53, 2, 2};  // 0 (4), validated
inline constexpr std::size_t kIndexWord = 4;                                // (1) 4, not validated
inline constexpr std::size_t kPointerWord = 5;                              // (1) 4, not validated
inline constexpr std::size_t kNodeSizeLess1 = 6;                            // (2)
inline constexpr std::size_t kKeyCount = 8;          // (2) counts a primary key without parts
inline constexpr std::size_t kSeven = 10;            // (1) 7
inline constexpr std::size_t kDuplicateWidth = 11;   // (1) 1 to 4
inline constexpr std::size_t kRecordLength = 13;     // (2)
inline constexpr std::size_t kKeyNode = 15;          // (4) first key-description node
inline constexpr std::size_t kFreeData = 25;         // (4) head of the free data-record list
inline constexpr std::size_t kFreeNodes = 29;        // (4) head of the free index-node list
inline constexpr std::size_t kHighRecord = 33;       // (4) highest record number ever given
inline constexpr std::size_t kHighNode = 37;         // (4) highest node number ever given
inline constexpr std::size_t kChangeCounter = 41;    // (4) counts the writes of the dictionary
inline constexpr std::size_t kUniqueId = 45;         // (4) next unique identifier
inline constexpr std::size_t kAudit = 49;            // (4)
inline constexpr std::size_t kEight = 54;            // (1) 8
inline constexpr std::size_t kMaxRecordLength = 59;  // (2) variable-length files, else 0
inline constexpr std::size_t kSchema1 = 69;          // (4)
inline constexpr std::size_t kSchema2 = 73;          // (4)
inline constexpr std::size_t kFlagsFromEnd = 6;      // (2) at node size - 6
inline constexpr std::size_t kMagicFromEnd = 4;      // (4) at node size - 4
inline constexpr std::array<std::uint8_t, 4> kMagic{'V', 'Q', 'R', 'z'};

// File flags.
inline constexpr unsigned kFlagTrailerWord = 1;  // slots end in a 4-byte word
inline constexpr unsigned kFlagPrecious = 2;     // deleted record numbers are never given again
}  // namespace dictionary

// Marks in the two bytes at node size - 3 and node size - 2.
inline constexpr std::size_t kMarkFromEnd = 3;
inline constexpr std::array<std::uint8_t, 2> kKeyNodeMark{0xFF, 0x7E};
inline constexpr std::array<std::uint8_t, 2> kFreeNodeMark{0xFF, 0x7F};

// Key-description node: a chain of nodes that hold key entries one after another.
namespace key_node {
inline constexpr std::size_t kUsed = 0;   // (2) counts this head: 6 when empty
inline constexpr std::size_t kNext = 2;   // (4) 0 at the end of the chain
inline constexpr std::size_t kFirst = 6;  // first entry
}  // namespace key_node

// Key entry.
namespace key_entry {
inline constexpr std::size_t kLength = 0;      // (2)
inline constexpr std::size_t kRoot = 2;        // (4) root node of the index
inline constexpr std::size_t kHalfFlags = 6;   // (1) key flags / 2
inline constexpr std::size_t kParts = 7;       // parts of 5 bytes, or 6 with key flag 0x20
inline constexpr std::size_t kPartLength = 0;  // (2) within a part
inline constexpr std::size_t kPartStart = 2;   // (2)
inline constexpr std::size_t kPartType = 4;    // (1), or (2) with key flag 0x20
inline constexpr std::size_t kPartSize = 5;
inline constexpr std::size_t kNullPartSize = 6;
inline constexpr unsigned kDuplicatesBit = 0x8000;  // in the first part's length
inline constexpr std::size_t kNoPartsLeast = 3;     // entries of 3 to 11 bytes: no parts
inline constexpr std::size_t kNoPartsMost = 11;
inline constexpr std::size_t kTooLong = 52;  // from here on: more than 8 parts
}  // namespace key_entry

// B-tree node.
namespace tree_node {
inline constexpr std::size_t kUsed = 0;          // (2) counts these two bytes: 2 when empty
inline constexpr std::size_t kFirst = 2;         // first entry
inline constexpr std::size_t kLevelFromEnd = 2;  // (1) at node size - 2; 0 in a leaf
inline constexpr std::size_t kPointerWidth = 4;
inline constexpr std::uint32_t kRepeatBit = 0x80000000;  // the next entry repeats this key
}  // namespace tree_node

// Free-list node.
namespace free_node {
inline constexpr std::size_t kUsed = 0;   // (2) counts this head: 6 when empty
inline constexpr std::size_t kNext = 2;   // (4) next (older) list node
inline constexpr std::size_t kFirst = 6;  // numbers of 4 bytes, oldest first
inline constexpr std::size_t kNumberWidth = 4;
}  // namespace free_node

// Data slot: the record, the status byte, then as the file has it 6 bytes of variable-part
// information and a 4-byte word.
namespace slot {
inline constexpr std::uint8_t kLive = 0x0A;
inline constexpr std::uint8_t kDeleted = 0x00;
inline constexpr std::size_t kStatusWidth = 1;
inline constexpr std::size_t kVariableWidth = 6;
inline constexpr std::size_t kTrailerWidth = 4;
}  // namespace slot

// Lock regions of the index file, far beyond its bytes: offset, length.
namespace lock {
inline constexpr std::int64_t kOpen = 0x7FFFFFFF;
inline constexpr std::int64_t kOpenLength = 1;
inline constexpr std::int64_t kOperation = 0;
inline constexpr std::int64_t kOperationLength = 0x3FFFFFFF;
inline constexpr std::int64_t kRecords = 0x40000000;  // + record number, 1 byte each
inline constexpr std::int64_t kRecordsLength = 0x3FFFFFFF;
}  // namespace lock

}  // namespace isam::layout
