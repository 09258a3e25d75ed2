#include "app/driver.h"

int run_slix(int, char**) { return 0; }
