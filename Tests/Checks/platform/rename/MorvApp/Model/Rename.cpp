int f() { return renameat2(0, "a", 0, "b", 1); }
