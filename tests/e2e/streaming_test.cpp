// The work is organised in tiles, parts and threads that must not show in the output: a run
// equals the same run cut into other blocks, read by one thread, or computed by the other
// dissimilarity algorithm.
#include "case_runner.h"

// Three 1 MiB files in three groups; the masks of the one-block run (many tiles, read ahead by
// a second thread, many parts of masked bits through the kernel) against one thread alone, and
// its dissimilarities against blocks smaller than a tile and than a part, and against -q.
TEST(Streaming, TilesPartsAndThreadsDoNotShow) {
  const Sandbox sb;
  EXPECT_EQ(runScript(sb, "",
                      "for f in a b c; do head -c 1048576 /dev/urandom > $f; done;"
                      " printf \"f G\\na x\\nb y\\nc z\\n\" > p.txt; o() { \"$OVRELL\" -p p.txt"
                      " \"$@\" G | cksum; }; [ \"$(o -x -f 4)\" = \"$(taskset -c 0 \"$OVRELL\" -p p.txt"
                      " -x -f 4 G | cksum)\" ] && [ \"$(o -c r0)\" = \"$(o -m 1MB -c r1)\" ] && echo masks;"
                      " o -d d0 >/dev/null; o -d d1 -m 200KB >/dev/null; o -q -d d2 -m 64KB >/dev/null;"
                      " cmp d0 d1 && cmp d0 d2 && [ $(wc -l < d0) -gt 1000 ] && echo stretches"),
            "masks\nstretches\n");
}
