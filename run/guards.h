// What the program must know of a database before a fix may touch it: whether it can be written, which schema
// version it holds, and (IsIngres, with the program-wide state) which dialect it speaks.
#pragma once

#include <cstdint>

namespace vnt {

// Opens the current database (an Access file) with its main and its second connection, tests it for
// read-only, reads its version, and refreshes the reference tables of a version 5.0 database.
//
// Strong guarantee: when anything of this fails with a DbError, the connections, the read-only flag and the
// version are as before. A refresh that the surroundings made fail has changed nothing. A read-only database
// is refused with a message; in a start with "Active" that ends the program (EndProgram).
void OpenAccessDatabase();

// Opens the connections on the current database (an Access file) anew, because they no longer hold what is in
// it. When that fails none is open any more, and no database is the current one.
void ReopenAccessDatabase();

// Whether writing a row of vnt_ooak back fails for any reason. An empty vnt_ooak passes as writable.
bool IsDatabaseReadOnly();

// Takes version number and sub-number from the newest row of vnt_ooak; what cannot be read keeps its value.
void ReadDatabaseVersion();

// Whether the open database has no notice of that number. False where it cannot be asked.
bool LacksNotice(std::int32_t notice);

// Whether a database of the version that was read gets its reference tables anew at each opening.
bool IsVersionRefreshedWhenOpened();

// Takes reference tables over from the template; not on Ingres. DbError as the refresh gives it.
void RefreshReferenceForVersion5();

}  // namespace vnt
