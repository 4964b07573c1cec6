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

std::vector<fs::path> inputs(const std::string& target) {
  std::vector<fs::path> out;
  for (const char* kind : {"corpus", "regressions"}) {
    const fs::path dir = fs::path(QOR_FUZZ_DIR) / kind / target;
    if (!fs::is_directory(dir)) continue;
    for (const auto& entry : fs::directory_iterator(dir))
      if (entry.is_regular_file()) out.push_back(entry.path());
  }
  return out;
}

void replay(const std::string& target, int (*harness)(const std::uint8_t*, std::size_t)) {
  const auto files = inputs(target);
  ASSERT_FALSE(files.empty()) << "no corpus for " << target;
  for (const auto& f : files) {
    SCOPED_TRACE(f.string());
    std::ifstream in(f, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(harness(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()), 0);
  }
}

}  // namespace

TEST(FuzzCorpus, pointFileInputsNeverCrashTheReader) { replay("pointfile", qorfuzz::pointFile); }
TEST(FuzzCorpus, transformInputsNeverCrashSetUpMeshOrConversions) { replay("transform", qorfuzz::transform); }
TEST(FuzzCorpus, segmenterInputsNeverCrashSetUpOrConversions) { replay("segmenter", qorfuzz::segmenter); }
TEST(FuzzCorpus, savedTransformInputsNeverCrashTheLoaderOrWhatItLoads) {
  replay("savedtransform", qorfuzz::savedTransform);
}
