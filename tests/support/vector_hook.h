// Lets tests run what the library does on processors without the wider vectors.
#pragma once

extern bool widerVectors; // false: the library takes the processor to have none
