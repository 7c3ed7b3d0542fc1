// A parent's own code, with what its own flags let through.
int fenletParent(double value) {
    int unused;
    return (int)value;
}
