// Where there is no libFuzzer: the files of the last folder, then mutations.
//   kivdb_fuzz -seed=S -max_total_time=SECONDS ... FOLDER

#include <random>

#include "../test_util.h"

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data,
                                      std::size_t size);

namespace {

constexpr char kTokens[] =
    ", = | \n \\x7c \\n [int] (int) id a \" rec_1= {{$kivid}} .tmp -1 \0 "
    "4294967296";

std::string Mutate(const std::vector<std::string>& corpus,
                   std::mt19937& random) {
  const auto below = [&](std::size_t end) { return random() % (end + 1); };
  const auto pieceOf = [&](const std::string& text) {
    return text.substr(below(text.size()), below(12));
  };
  std::string text = corpus[below(corpus.size() - 1)];
  for (std::size_t n = 1 + below(4); n > 0; --n) {
    const std::string pieces[] = {pieceOf({kTokens, sizeof(kTokens)}),
                                  std::string(below(2046), 'x'),
                                  pieceOf(corpus[below(corpus.size() - 1)]),
                                  std::string(1, static_cast<char>(random()))};
    text.replace(below(text.size()), below(9), pieces[below(3)]);
  }
  return text;
}

void Run(const std::string& text) {
  KivDB::Put("crash-input", text);
  alarm(30);  // ends what hangs
  LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char*>(text.data()),
                         text.size());
}

}  // namespace

int main(int argc, char** argv) {
  LLVMFuzzerInitialize(&argc, &argv);
  const auto numberOf = [](const char* option) {
    return std::strtoul(std::strchr(option, '=') + 1, nullptr, 10);
  };
  std::vector<std::string> corpus;
  for (const auto& entry : fs::directory_iterator(argv[argc - 1])) {
    corpus.push_back(KivDB::Get(entry.path()));
  }
  for (const std::string& text : corpus) Run(text);
  std::mt19937 random(numberOf(argv[1]));
  const auto end =
      static_cast<std::time_t>(numberOf(argv[2])) + std::time(nullptr);
  while (std::time(nullptr) < end) Run(Mutate(corpus, random));
  fs::remove("crash-input");
}
