/* SPDX-License-Identifier: MIT */
/* Does nothing: what is measured is what comes before and after. */
int main(void) {
    return 0;
}
