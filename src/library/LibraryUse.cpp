#include "library/LibraryUse.h"

#include <atomic>
#include <cstdint>
#include <memory>

#include "client/CVekExceptionImp.h"
#include "client/Library.h"
#include "library/ThreadNotice.h"

namespace orla {

namespace {

/// Set in `uses` while no new use may begin: before the object is created, and after the unloading
/// of the library or the exit of the program has begun.
constexpr std::uint32_t kClosed = 0x80000000;

/// The number of uses in progress, and kClosed.
constinit std::atomic<std::uint32_t> uses{kClosed};

/// Holds the Library. It is not a static object, because its destruction is conditional.
alignas(Library) constinit unsigned char storage[sizeof(Library)] = {};
constinit Library* library = nullptr;

/// Its constructor runs when the library is loaded; its destructor when the library is unloaded or
/// the program exits.
class Loaded {
 public:
  Loaded() {
    library = std::construct_at(reinterpret_cast<Library*>(storage));
    startThreadNotices();
    uses = 0;
  }
  Loaded(const Loaded&) = delete;
  Loaded& operator=(const Loaded&) = delete;
  ~Loaded() {
    stopThreadNotices();
    if (uses.fetch_or(kClosed) == 0) {
      std::destroy_at(library);
      return;
    }
    try {
      library->inet().Cleanup();
    } catch (const CVekExceptionImp&) {
      // The table cannot be locked, and the process that it belongs to is ending.
    }
  }
};

const Loaded loaded;

}  // namespace

LibraryUse::LibraryUse() noexcept
    : inet_((uses.fetch_add(1) & kClosed) == 0 ? &library->inet() : nullptr) {}

LibraryUse::~LibraryUse() {
  uses.fetch_sub(1);
}

}  // namespace orla
