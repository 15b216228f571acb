// The description of the web API: whole, true, and served.
#include <gtest/gtest.h>

namespace tonvale_test {}
