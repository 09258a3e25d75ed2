// The run driver: from the argument list to the exit status.
#pragma once

int run_slix(int argc, char** argv);
