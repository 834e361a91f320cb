// Stack protection at work (a test program; it never ships): run without
// arguments, it starts itself again with "overrun" and a text, and that
// child copies the text, 48 bytes with its end, into a 16-byte stack
// buffer. With the security cookie checked on return
// (-fstack-protector-strong, the static runtime's __security_check_cookie)
// the child ends at once with the fast-fail status
// STATUS_STACK_BUFFER_OVERRUN (0xC0000409) and never prints "ran on"; the
// parent reads the child's full 32-bit exit code (Wine passes only its low
// byte on to a Linux parent) and exits 0 exactly then.
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

volatile char gSink;

// Copies `text` (longer than the buffer) into a stack buffer: the copy runs
// over the frame's cookie, which the epilogue then finds changed.
__declspec(noinline) void overrun(const char* text) {
  char buffer[16];
  std::memcpy(buffer, text, std::strlen(text) + 1);
  gSink = buffer[3];
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::strcmp(argv[1], "overrun") == 0) {
    overrun(argv[2]);
    std::printf("ran on\n");
    return 0;
  }
  wchar_t self[MAX_PATH];
  GetModuleFileNameW(nullptr, self, MAX_PATH);
  std::wstring command =
      L"\"" + std::wstring(self) + L"\" overrun far-longer-than-the-sixteen-bytes-of-the-buffer";
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION child = {};
  if (!CreateProcessW(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                      &child)) {
    std::printf("cannot start the child: error %lu\n", GetLastError());
    return 2;
  }
  WaitForSingleObject(child.hProcess, INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(child.hProcess, &code);
  CloseHandle(child.hThread);
  CloseHandle(child.hProcess);
  std::printf("the overrunning child ended with 0x%08lX (expected 0x%08lX)\n", code,
              static_cast<unsigned long>(STATUS_STACK_BUFFER_OVERRUN));
  return code == static_cast<DWORD>(STATUS_STACK_BUFFER_OVERRUN) ? 0 : 1;
}
