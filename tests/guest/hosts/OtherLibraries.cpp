// Names of {fmt} and RapidJSON as another version of each might define them in a host, exported
// to whatever asks for them. Nobody in this program does; the library must not either.
#include <cstdio>
#include <cstdlib>

#define HOSTS_OWN __attribute__((visibility("default")))

namespace {
[[noreturn]] void foreignCall(const char* name) {
  std::fprintf(stderr, "the library called the host's %s\n", name);
  std::_Exit(9);
}
}  // namespace

namespace fmt {
inline namespace v9 {
class HOSTS_OWN format_error {
 public:
  explicit format_error(const char*);
  virtual ~format_error();
};
format_error::format_error(const char*) { foreignCall("fmt"); }
format_error::~format_error() = default;
class HOSTS_OWN format_int {
 public:
  explicit format_int(long);
  explicit format_int(unsigned long);
};
format_int::format_int(long) { foreignCall("fmt"); }
format_int::format_int(unsigned long) { foreignCall("fmt"); }
namespace detail {
HOSTS_OWN void throw_format_error(const char*);
void throw_format_error(const char*) { foreignCall("fmt"); }
HOSTS_OWN int count_digits(unsigned long);
int count_digits(unsigned long) { foreignCall("fmt"); }
}  // namespace detail
}  // namespace v9
}  // namespace fmt

namespace rapidjson {
class HOSTS_OWN CrtAllocator {
 public:
  static void Free(void*) noexcept;
  void* Malloc(unsigned long);
};
void CrtAllocator::Free(void*) noexcept { foreignCall("RapidJSON"); }
void* CrtAllocator::Malloc(unsigned long) { foreignCall("RapidJSON"); }
}  // namespace rapidjson
