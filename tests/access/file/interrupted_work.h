// Work on a page store whose file holds, after each piece of it, a state that is known: for tests that
// interrupt it, and look at what the next open finds.
#pragma once

#include <memory>
#include <string>

#include "access/file/page_store.h"
#include "access/file/test_files.h"

namespace jet {

inline constexpr std::uint32_t kPage = 2048;
inline constexpr PageNo kPages = 400;
inline const std::string kPath = "/data/a.mdb";
inline const std::string kJournal = "/data/a.mdb-journal";

void Fill(MutableBytes out, std::uint64_t seed);
std::string OldContent();

// Single pages, a run longer than the write buffer, the first and the last page, and appended pages, in a
// cache that has to spill.
void FirstWork(PageStore& store);
// Pages that the first work has changed and others. Before that more pages than the cache holds are changed
// and taken back, so that records are given up; some of their slots are taken again.
void SecondWork(PageStore& store);
// Every page written again, in a cache that has to spill.
void WriteAll(PageStore& store, std::uint64_t seed);
// The first work persisted, the second one brought to the file; returns how many of them came back.
int DoAll(PageStore& store);

std::unique_ptr<PageStore> OpenStore(FileSystem& files, OpenMode mode = OpenMode::kReadWrite);
// The kind of the error with which that fails.
ErrorKind OpenFails(FileSystem& files, OpenMode mode);

// What the file holds after neither, the first, and both works.
const std::string& State(int persisted);
// The number of that state, or -1.
int StateOf(const std::string& content);
// As a store shows it.
std::string Content(PageStore& store);
// Reads every page, without a byte being written.
std::string ContentThroughStore(MemoryFileSystem& files);

// A file system with a journal that waits: of a run that was killed, or one that stopped while the file was
// being overwritten.
void Interrupt(MemoryFileSystem& files, bool applying);

}  // namespace jet
