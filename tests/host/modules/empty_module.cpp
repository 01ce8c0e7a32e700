// A library that is no module: it exports nothing that a host asks for.
extern "C" __attribute__((visibility("default"))) int Nothing();
int Nothing() {
  return 0;
}
