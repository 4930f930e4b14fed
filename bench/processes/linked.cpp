// Links what a host of the SDK links, and calls nothing.
int main() {}
