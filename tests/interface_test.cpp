#include "interface_test.c"
