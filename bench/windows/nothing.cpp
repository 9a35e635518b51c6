// Does nothing; the linker gives it the libraries that vorn_devnode.exe imports.

int wmain() {
  return 0;
}
