// Runs command lines, one after the other, for a script outside of Wine: each line of standard
// input is one, in UTF-8. Answers each with a line once the program has ended: its exit code, or
// "not started" and the error. A Unix process gets only the low byte of an exit code, and starting
// a program from outside takes Wine one or two processes more.

#include <stdio.h>
#include <string.h>
#include <windows.h>

#define LONGEST 32768  // characters of a command line, the terminator included

// What the programs print goes to the file that the argument names.
static void redirect(STARTUPINFOW* startup, const char* file) {
  SECURITY_ATTRIBUTES inherited = {sizeof inherited, NULL, TRUE};
  startup->cb = sizeof *startup;
  startup->dwFlags = STARTF_USESTDHANDLES;
  startup->hStdInput = CreateFileA("NUL", GENERIC_READ, 0, &inherited, OPEN_EXISTING, 0, NULL);
  startup->hStdOutput = CreateFileA(file, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    &inherited, OPEN_ALWAYS, 0, NULL);
  startup->hStdError = startup->hStdOutput;
}

// On a busy machine one process in some thousands dies on Wine before it begins, which is an
// internal error of this call. Nothing has run then, so it is started again.
static BOOL start(const WCHAR* line, STARTUPINFOW* startup, PROCESS_INFORMATION* process) {
  static WCHAR copy[LONGEST];  // because the call may write into it
  int tries;
  for (tries = 1; tries <= 3; ++tries) {
    wcscpy(copy, line);
    if (CreateProcessW(NULL, copy, NULL, NULL, TRUE, 0, NULL, NULL, startup, process)) return TRUE;
    if (GetLastError() != ERROR_INTERNAL_ERROR) break;
  }
  return FALSE;
}

static void run(const WCHAR* line, STARTUPINFOW* startup) {
  PROCESS_INFORMATION process;
  DWORD code = 0;
  if (!start(line, startup, &process)) {
    printf("not started, error %lu\n", GetLastError());
    return;
  }
  WaitForSingleObject(process.hProcess, INFINITE);
  GetExitCodeProcess(process.hProcess, &code);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  printf("%lu\n", code);
}

int main(int argc, char** argv) {
  static char text[LONGEST];
  static WCHAR line[LONGEST];
  static STARTUPINFOW startup;
  if (argc != 2) return 64;
  redirect(&startup, argv[1]);
  while (fgets(text, sizeof text, stdin)) {
    text[strcspn(text, "\r\n")] = '\0';
    if (MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text, -1, line, LONGEST) == 0) return 65;
    run(line, &startup);
    fflush(stdout);
  }
  return 0;
}
