// Replays the committed fuzz corpus and every regression input (a past crash) through the fuzz
// harnesses, so that the ordinary suite and its sanitizer build catch a returning fault.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "FuzzHarness.h"

namespace {

namespace fs = std::filesystem;

void replay(const std::string& target, int (*harness)(const std::uint8_t*, std::size_t)) {
  int files = 0;
  for (const char* kind : {"corpus", "regressions"}) {
    const fs::path dir = fs::path(QOR_FUZZ_DIR) / kind / target;
    if (!fs::is_directory(dir)) continue;
    for (const auto& entry : fs::directory_iterator(dir)) {
      if (!entry.is_regular_file()) continue;
      SCOPED_TRACE(entry.path().string());
      std::ifstream in(entry.path(), std::ios::binary);
      const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
      EXPECT_EQ(harness(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()), 0);
      ++files;
    }
  }
  EXPECT_GT(files, 0) << "no corpus for " << target;
}

}  // namespace

TEST(FuzzCorpus, pointFileInputsNeverCrashTheReader) { replay("pointfile", qorfuzz::pointFile); }
TEST(FuzzCorpus, transformInputsNeverCrashSetUpMeshOrConversions) { replay("transform", qorfuzz::transform); }
TEST(FuzzCorpus, segmenterInputsNeverCrashSetUpOrConversions) { replay("segmenter", qorfuzz::segmenter); }
TEST(FuzzCorpus, savedTransformInputsNeverCrashTheLoaderOrWhatItLoads) {
  replay("savedtransform", qorfuzz::savedTransform);
}
