// Does nothing. Built twice: on its own, and linked to the library.
int main() {
    return 0;
}
