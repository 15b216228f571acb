// The library database as the indexer uses it.
#pragma once

#include "varn/database.h"

namespace varnindex {

using varn::DatabaseError;
using varn::Made;
using varn::Rows;
using varn::Transaction;

class Database : public varn::Database {
  public:
    // Connects as the package's role; throws DatabaseError.
    Database();

    // Keeps other indexers away from this library until the connection ends; false when one is at
    // work.
    bool TakeIndexLock();

    // For a second connection of the indexer that has the lock. The next indexer waits until what
    // this one still writes, maybe after its process was killed, is in the library.
    void HoldWriteLock();
};

}  // namespace varnindex
