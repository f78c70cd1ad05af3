// Replays the fuzz target over every stored input: the corpus the fuzzer
// built (fuzz/corpus) and the inputs that once failed (tests/avi/data). Each
// must run through the reader, and through its object-reuse checks, clean.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

TEST(AviFuzzCorpus, EveryStoredInputRunsClean) {
  std::size_t seen = 0;
  for (const char* dir : {RIVULET_AVI_FUZZ_CORPUS, RIVULET_AVI_TEST_DATA}) {
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
      if (!entry.is_regular_file()) continue;
      SCOPED_TRACE(entry.path().string());
      std::ifstream in(entry.path(), std::ios::binary);
      const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
      LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
      ++seen;
    }
  }
  // An empty input too.
  LLVMFuzzerTestOneInput(nullptr, 0);
  EXPECT_GE(seen, 100u) << "the stored corpus is missing";
}
