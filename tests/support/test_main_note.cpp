// The test support library links GoogleTest's main; this file gives the library a body.
namespace tv::test {
int SupportLinked() { return 1; }
}  // namespace tv::test
