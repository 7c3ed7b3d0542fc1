// The header that all tests share is compiled with this file.
