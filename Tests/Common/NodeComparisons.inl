// Two nodes as Nodes.cpp reads them, flags, and whether the nodes are equal.
{"n", "n", KelCompareAll, true}, {"n a=Text", "n", KelCompareAll, false}, {"n a=Text", "n", KelIgnoreAttributes, true},
    {"n a=Text", "n a=TEXT", KelCompareAll, false}, {"n a=Text", "n a=TEXT", KelIgnoreCase, true},
    {"n a=Text", "n a=TEXT b=", KelIgnoreCase, false}, // one attribute more on the other side
    {"n a=Text", "n b=Text", KelCompareAll, false}, {"n a=Text", "n a=Text #now=x", KelCompareAll, false},
    {"n a=Text", "n a=Text #now=x", KelIgnoreHashAttributes, true}, {"n a:1", "n a:1", KelCompareAll, true},
    {"n a:49", "n a=1", KelCompareAll, false}, // the same bytes of two types
    {"n a:49", "n a=1", KelIgnoreCase, false}, {"n", "other", KelCompareAll, false},
    {"n", "other", KelIgnoreIdentity, true}, {"n(x)", "other", KelIgnoreIdentity, false}, // a child more
    {"n", "other(x)", KelIgnoreIdentity, false}, {"n(x)", "other", KelIgnoreIdentity | KelIgnoreChildren, true},
    {"(x v=1)(y v=2)", "(x v=1)(y v=2)", KelCompareAll, true},
    {"(x v=1)(y v=2)", "(y v=2)(x v=1)", KelCompareAll, false},
    {"(x v=1)(y v=2)", "(y v=2)(x v=1)", KelIgnoreIdentity | KelCompareNames | KelIgnoreChildOrder, true},
    {"(x v=1)(y v=2)", "(y v=2)(z v=1)", KelIgnoreIdentity | KelCompareNames | KelIgnoreChildOrder, false},
    {"(x v=1)(y v=2)", "(y v=2)(x v=2)", KelIgnoreIdentity | KelCompareNames | KelIgnoreChildOrder, false},
    {"(x v=1)(y v=2)", "(y v=2)(x v=1)", KelPairByPosition, false},
    {"(x v=1)(y v=2)", "(y v=1)(x v=2)", KelIgnoreIdentity | KelPairByPosition, true},
    // Order deeper down counts as the flags say, too.
    {"(d(x)(y))", "(d(y)(x))", KelIgnoreIdentity | KelCompareNames | KelIgnoreChildOrder, true},
    {"(d(x)(y))", "(d(y)(x))", KelIgnoreIdentity, false},
    // Nameless items are compared one by one.
    {"( v=a)( v=b)( v=c)", "( v=a)( v=b)( v=c)", KelIgnoreIdentity, true},
    {"( v=a)( v=b)( v=c)", "( v=a)( v=c)( v=b)", KelIgnoreIdentity, false},
    {"( v=a)( v=b)( v=c)", "( v=a)( v=c)( v=b)", KelIgnoreIdentity | KelCompareNames | KelIgnoreChildOrder, false},
    {"( v=a)( v=b)( v=c)", "( v=a)( v=c)( v=b)", KelIgnoreIdentity | KelPairByPosition, false},
    {"( v=a)( v=b)", "( v=a)( v=b)( v=b)", KelIgnoreIdentity | KelPairByPosition, false},
    {"( v=a)( v=b)", "( v=a)( v=b)( v=b)", KelIgnoreIdentity | KelCompareNames | KelIgnoreChildOrder, false},
