// The function that libFuzzer calls for each input.
#include "fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  orla::fuzz(orla::RWCString(data, data + size));
  return 0;
}
