// Where there is no libFuzzer: the files of the last folder, then mutations.
//   kivdb_fuzz -seed=S -max_total_time=SECONDS ... FOLDER

#include <random>

#include "../test_util.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data,
                                      std::size_t size);

namespace {

std::string Mutate(const std::vector<std::string>& corpus,
                   std::mt19937& random) {
  const auto below = [&](std::size_t end) { return random() % (end + 1); };
  const auto any = [&] { return corpus[below(corpus.size() - 1)]; };
  std::string text = any();
  for (std::size_t n = 1 + below(4); n > 0; --n) {
    std::string piece = any();
    piece = piece.substr(below(piece.size()), 1 << below(11));
    if (below(3) == 0) piece = static_cast<char>(random());
    text.replace(below(text.size()), below(9), piece);
  }
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> corpus{
      std::string(2046, 'x'), std::string(1, '\0'),
      ", = | \n \\x7c \\n [int] (int) id a \" rec_1= {{$kivid}} .tmp -1 "
      "4294967296"};
  for (const auto& entry : fs::directory_iterator(argv[argc - 1])) {
    corpus.push_back(KivDB::Get(entry.path()));
  }
  std::mt19937 random(std::strtoul(argv[1] + strlen("-seed="), nullptr, 10));
  const auto end = std::time(nullptr) +
                   std::strtol(std::strchr(argv[2], '=') + 1, nullptr, 10);
  for (std::size_t i = 0; i < corpus.size() || std::time(nullptr) < end; ++i) {
    const std::string text =
        i < corpus.size() ? corpus[i] : Mutate(corpus, random);
    KivDB::Put("crash-input", text);
    alarm(30);  // ends what hangs
    LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char*>(text.data()),
                           text.size());
  }
  fs::remove("crash-input");
}
