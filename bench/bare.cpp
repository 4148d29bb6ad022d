// What the start of any program costs that is linked as ipv6ctl is.
int main()
{
    return 0;
}
