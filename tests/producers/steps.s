# A program whose every instruction the tests know by name.
        .globl  main, work, call_work, after_work, main_ret, loop, loop_end, work_ret, skip, skip_to
        .text
        .type   main, @function
main:
call_work:
        call    work
after_work:
        xor     %eax, %eax
main_ret:
        ret
        .size   main, . - main

        .type   work, @function
work:
        mov     $3, %ecx
loop:
        dec     %ecx
loop_end:
        jnz     loop
skip:
        jmp     skip_to
        nop
skip_to:
        nop
work_ret:
        ret
        .size   work, . - work
        .section .note.GNU-stack, "", @progbits
