#ifndef KEST_CORE_KESTSTRRPL_H
#define KEST_CORE_KESTSTRRPL_H

// Copies in to the end of out (which must hold a NUL-terminated text,
// normally empty), replacing every occurrence of from by to. At most
// outsize - 1 bytes are counted, but a replacement is always written whole:
// out must be large enough for the full result. Returns out, or null (out
// untouched) when a pointer is null, in or from is empty, or outsize < 1.
char* strrpl(char* in, char* out, int outsize, const char* from, const char* to);

#endif
