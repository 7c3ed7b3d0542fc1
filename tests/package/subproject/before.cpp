// Code of the parent project. Its flags allow what this project's flags would refuse.
int fenletParent(double value) {
    int unused;
    return (int)value;
}
