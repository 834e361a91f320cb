// Small pieces of Visual C++'s static runtime that the compiler's code
// refers to: type_info's vftable (its one entry the scalar deleting
// destructor) and the module's list of undecorated type names
// (std_type_info_static.cpp), _fltused, which marks floating-point use
// (fltused.cpp), and __chkstk, which touches each new page of a stack frame
// larger than a page (chkstk.asm).
#include <typeinfo>

type_info::~type_info() noexcept {}

namespace {
void* __cdecl destroyTypeInfo(type_info* object, unsigned int flags) {
  object->~type_info();
  if (flags & 1) operator delete(object);
  return object;
}
}  // namespace

extern "C" {

// The name Visual C++ gives type_info's vftable.
extern const void* const ksTypeInfoVftable[] __asm__("??_7type_info@@6B@");
const void* const ksTypeInfoVftable[] = {reinterpret_cast<const void*>(&destroyTypeInfo)};

// An SLIST_HEADER: 16 bytes, 16-aligned.
struct alignas(16) __type_info_node {
  unsigned long long words[2];
};
__type_info_node __type_info_root_node = {};

int _fltused = 0x9875;

// In: rax = bytes the caller will subtract from rsp. Preserves every register.
__asm__(
    ".globl __chkstk\n"
    "__chkstk:\n"
    "  pushq %rcx\n"
    "  pushq %rax\n"
    "  cmpq $0x1000, %rax\n"
    "  leaq 24(%rsp), %rcx\n"
    "  jb 1f\n"
    "2:\n"
    "  subq $0x1000, %rcx\n"
    "  orq $0, (%rcx)\n"
    "  subq $0x1000, %rax\n"
    "  cmpq $0x1000, %rax\n"
    "  ja 2b\n"
    "1:\n"
    "  subq %rax, %rcx\n"
    "  orq $0, (%rcx)\n"
    "  popq %rax\n"
    "  popq %rcx\n"
    "  retq\n");

}  // extern "C"
