// Page 0: what kind of file this is, and whether it can be opened at all.
//
// Bytes 0..0x17 and from 0x98 on are plain; the part between is masked with a fixed RC4 keystream (128 bytes,
// Jet 3: 126). Fields, after unmasking:
//
//   0x00  00 01 00 00, then the engine's name and a 0
//   0x14  u8 version
//   0x18  row pointer of the global map of free pages, 0x1C of a second map that was never seen to hold
//         anything
//   0x20  4 x u32 definition pages of MSysObjects, MSysACEs, MSysQueries, MSysRelationships
//   0x3A  u16 LCID (Jet 3), 0x3C u16 ANSI code page, 0x3E u32 encryption key, 0x42 password
//   0x6A  u32 engine build, 0x6E u16 LCID, u8 0, u8 sort version, 0x72 creation date (Jet 4 and later)
//   0xE00 (Jet 3: 0x600) 256 pairs of commit bytes; a pair 00 00 says that a write was under way
//
// The password is UTF-16, padded with zeros and XORed with the creation date's whole days, so the creation
// date must never be changed without it. All this was seen in files that Access wrote.
#pragma once

#include <string>
#include <vector>

#include "access/file/file.h"
#include "access/store/format.h"
#include "access/store/layout.h"

namespace jet {

struct FileHeader {
  const FormatInfo* format = nullptr;
  // A version whose structure is only reported to be like its neighbours': never written to.
  bool read_only_version = false;
  std::uint16_t code_page = 1252;
  std::uint16_t lcid = 1033;
  std::uint8_t sort_version = 0;
  RowPointer global_map;
  PageNo objects = 2, aces = 3, queries = 4, relationships = 5;
  double created = 0;
  // Commit bytes show a write that was never finished.
  bool unfinished_write = false;
};

// Reads and judges page 0 of an open file. kNotSupported (foreign, encrypted, protected by a password,
// unknown version) or kCorrupt (cut short), with a sentence that names the file.
FileHeader ReadFileHeader(File& file, const std::string& path);

// The whole page 0 of a new file. `created` is a date as a Date/Time column holds it.
std::vector<std::uint8_t> MakeHeaderPage(const FormatInfo& format, double created);

}  // namespace jet
