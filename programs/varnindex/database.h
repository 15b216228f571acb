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
};

}  // namespace varnindex
