#include "app/driver.h"

int main(int argc, char** argv) { return run_slix(argc, argv); }
