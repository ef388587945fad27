// A shared library with a function to be found by its name, and no entry point of a plug-in.
extern "C" int CountCalls() {
  static int calls = 0;
  return ++calls;
}
