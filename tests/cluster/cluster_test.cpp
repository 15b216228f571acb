// Makes the cluster that the other programs copy, when ctest names a place for it.
#include <cstdlib>

#include "support/fixture.h"
#include "support/spawn.h"
#include "varn/host.h"
#include "varn/systempath.h"

namespace {

using ClusterTest = tonvale_test::SystemTest;

TEST_F(ClusterTest, IsMadeWithTheSchema) {
    namespace host = varn::host;
    for (const host::Outcome &outcome :
         {host::CreateCluster(host::Durability::kNone), host::StartCluster(nullptr),
          host::MigrateSchema(), host::StopCluster()}) {
        ASSERT_TRUE(outcome) << outcome.Message();
    }
    if (const char *const place = getenv("TONVALE_TEST_CLUSTER")) {
        std::filesystem::remove_all(place);
        tonvale_test::Output({"/bin/cp", "-a", At(varn::path::kClusterData), place});
    }
}

}  // namespace
