// A text from malloc and its owner.

#ifndef CORE_HEAP_TEXT_H_
#define CORE_HEAP_TEXT_H_

#include <cstdlib>
#include <memory>

namespace KivDB {

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};

using HeapText = std::unique_ptr<char, FreeText>;

}  // namespace KivDB

#endif  // CORE_HEAP_TEXT_H_
