// The work is organised in tiles and parts that must not show in the output: a run equals the
// same run cut into other blocks, or computed by the other dissimilarity algorithm. (Tiles read
// by one thread or two are compared with whole blocks in the engine's unit test.)
#include "case_runner.h"

// Three 1 MiB files in three groups: the ascii mask (no separators, so block ends do not show)
// of the one-block run, read in many tiles, against blocks of 8 KiB; the dissimilarities of the
// one-block run (many parts of masked bits through the kernel) against blocks smaller than a
// tile and than a part, and against -q.
TEST(Streaming, TilesAndPartsDoNotShow) {
  const Sandbox sb;
  EXPECT_EQ(runScenario(sb, "", "tiles_and_parts"), "masks\nstretches\n");
}
