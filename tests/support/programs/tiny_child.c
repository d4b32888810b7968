/* Ends at once: what thousands of starts are made of. */

int main(void)
{
    return 0;
}
