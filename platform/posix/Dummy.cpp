int tolvikDummy() { return 0; }
