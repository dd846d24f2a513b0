	.text
	.file	"app.c"
	.globl	main
	.type	main,@function
main:
	{
		allocframe(#8)
	}
	{
		call bar
	}
	{
		call _ZltRK1AS1_
	}
	{
		dealloc_return
	}
.Lfunc_end0:
	.size	main, .Lfunc_end0-main

	.globl	bar
	.type	bar,@function
bar:
	{
		allocframe(#32)
	}
	{
		r29 = add(r29,r0)
	}
	{
		dealloc_return
	}
.Lfunc_end1:
	.size	bar, .Lfunc_end1-bar
