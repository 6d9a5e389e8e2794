void f() { sleep(1); }
