#include "app/driver.h"
#include "support/heap_setup.h"

int main(int argc, char** argv) {
  vk::prepare_heap();
  return run_slix(argc, argv);
}
