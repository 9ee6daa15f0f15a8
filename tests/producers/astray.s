# Calls that an exact recording shows in odd ways: three in a row through linkage stubs, whose instructions count as
# those of the calls, and one that never comes back to the busy block behind it.
        .globl  main, first, second, third, enter, site, beside, beside_end, turn, away, leave
        .text
        .type   main, @function
main:
        push    %rbx
        mov     $3, %ebx
first:
        call    getpid@PLT
second:
        call    getpid@PLT
third:
        call    getpid@PLT
enter:
        jmp     beside
site:
        call    away
beside:
        dec     %ebx
beside_end:
        jnz     beside
turn:
        jmp     site
        .size   main, . - main

        .type   away, @function
away:
        push    %rbx
        xor     %edi, %edi
leave:
        call    exit@PLT
        .size   away, . - away
        .section .note.GNU-stack, "", @progbits
