// Holds the precompiled header of the test framework; an empty program otherwise.
int main() { return 0; }
