# What Doxygen does not resolve in the documents: a place inside another page becomes the page, and a
# link to a source, which the reference does not hold, its text.
s#\]\(([^):]*\.md)\#[^)]*\)#](\1)#g
s#\[([^]]*)\]\([^):]*\.(h|py|c|cs)\)#\1#g
