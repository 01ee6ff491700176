#pragma once

// The allocator that CutlCPLBMString and CutlCPLBMVector use, made to fail. Defined in string_test.cpp.

// Lets `skip` allocations by operator new[] pass and fails the one after them, once.
void fail_array_new_after(int skip);
void fail_no_array_new();
