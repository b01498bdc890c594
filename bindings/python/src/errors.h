#pragma once

// Makes Python's exceptions of those of this package and of the tool's libraries.
void registerErrors();
