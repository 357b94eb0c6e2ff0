// The target of this file compiles the headers that test programs share.

int main() {}
