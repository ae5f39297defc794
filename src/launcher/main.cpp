#include "launcher/ExceptionEnd.h"
#include "launcher/wrap.h"

int main(int argc, char** argv) {
  handleEndWithoutException();
  return WrapperMain(argc, argv, nullptr, nullptr);
}
