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
    Database() : varn::Database(varn::ConnectLibrary()) {}

    // Keeps other indexers away from this library until the connection ends; false when one is at
    // work. The key is "varnindx", for every version of the indexer.
    bool TakeIndexLock() {
        return Query("SELECT WHERE pg_try_advisory_lock(8530224987757241464)").Count() > 0;
    }
};

}  // namespace varnindex
