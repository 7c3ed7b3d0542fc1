// Code of the parent project, which its own flags allow.
int fenletParent(double value) {
    int unused;
    return (int)value;
}
