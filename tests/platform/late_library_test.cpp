#include "varn/late_library.h"

#include <cstdlib>
#include <fstream>

#include "programs/command.h"
#include "support/fixture.h"

namespace {

using namespace tonvale_test;

struct Maths : varn::LateLibrary {
    explicit Maths(const char *name, const char *second = "floor") noexcept
        : LateLibrary(name), ceil(Find("ceil")), floor(Find(second)) {}

    double (*ceil)(double);
    double (*floor)(double);
};

TEST(LateLibrary, FindsFunctionsOrTellsWhatIsMissing) {
    const Maths good("libm.so.6");
    ASSERT_TRUE(good) << good.Problem();
    EXPECT_EQ(good.ceil(0.5), 1);
    EXPECT_EQ(good.floor(0.5), 0);
    EXPECT_TRUE(Maths("libm.so.6", "VLIBCExec")) << "what the program brings along";

    const Maths absent("libabsent.so.1");
    EXPECT_FALSE(absent);
    EXPECT_TRUE(Contains(absent.Problem(), "libabsent.so.1")) << absent.Problem();
    EXPECT_EQ(absent.ceil, nullptr);

    const Maths older("libm.so.6", "round_to_taste");
    EXPECT_FALSE(older);
    EXPECT_TRUE(Contains(older.Problem(), "round_to_taste")) << older.Problem();
}

using BrokenLibraries = DatabaseTest;

TEST_F(BrokenLibraries, AreNamedByTheCommandsThatNeedThem) {
    for (const char *name : {"libcurl.so.4", "libpq.so.5"}) {
        std::ofstream(scratch() / name) << "no library";
    }
    setenv("LD_LIBRARY_PATH", scratch().c_str(), 1);
    const Finished unconcerned = tonvale_test::Tonvale({"preference", "show", "admin"});
    const Finished songs = tonvale_test::Tonvale({"songs"});
    const Finished speaker = tonvale_test::Tonvale({"speaker", "127.0.0.1"});
    unsetenv("LD_LIBRARY_PATH");
    EXPECT_EQ(unconcerned.status, 0) << unconcerned.err;
    EXPECT_NE(songs.status, 0);
    EXPECT_TRUE(Contains(songs.err, "libpq.so.5")) << songs.err;
    EXPECT_NE(speaker.status, 0);
    EXPECT_TRUE(Contains(speaker.err, "Failed to load libcurl")) << speaker.err;
}

}  // namespace
