float ParentDcLine();

int main()
{
    return ParentDcLine() == 2.0f ? 0 : 1;
}
