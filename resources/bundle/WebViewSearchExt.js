// Find in page and link lookup, called by the app by these global names.
(function () {
    "use strict";
    var highlights = [];
    var current = -1;

    function clear() {
        for (var i = 0; i < highlights.length; ++i) {
            var span = highlights[i];
            var parent = span.parentNode;
            if (!parent)
                continue;
            parent.replaceChild(document.createTextNode(span.textContent), span);
            parent.normalize();
        }
        highlights = [];
        current = -1;
    }

    function highlightIn(node, needle) {
        if (node.nodeType === Node.TEXT_NODE) {
            var text = node.nodeValue;
            var index = text.toLowerCase().indexOf(needle);
            if (index < 0)
                return;
            var match = node.splitText(index);
            match.splitText(needle.length);
            var span = document.createElement("span");
            span.className = "quilt-find-highlight";
            span.style.backgroundColor = "#fce94f";
            span.style.color = "black";
            span.textContent = match.nodeValue;
            match.parentNode.replaceChild(span, match);
            highlights.push(span);
            highlightIn(span.nextSibling, needle);
            return;
        }
        if (node.nodeType !== Node.ELEMENT_NODE || /^(script|style|noscript|textarea|input)$/i.test(node.nodeName))
            return;
        var children = Array.prototype.slice.call(node.childNodes);
        for (var i = 0; i < children.length; ++i)
            highlightIn(children[i], needle);
    }

    window.wkWebview_HighlightAllOccurencesOfString = function (text) {
        clear();
        if (text && document.body)
            highlightIn(document.body, String(text).toLowerCase());
        return highlights.length;
    };
    window.wkWebview_SearchResultCount = function () {
        return highlights.length;
    };
    window.wkWebview_ScrollTo = function (index) {
        index = parseInt(index, 10);
        if (!highlights.length || isNaN(index))
            return;
        if (current >= 0 && highlights[current])
            highlights[current].style.backgroundColor = "#fce94f";
        current = ((index % highlights.length) + highlights.length) % highlights.length;
        highlights[current].style.backgroundColor = "#f57900";
        highlights[current].scrollIntoView({ block: "center" });
    };
    window.wkWebview_RemoveAllHighlights = clear;
    window.wkWebview_getLink = function (x, y) {
        var element = document.elementFromPoint(x, y);
        while (element && element.nodeName.toLowerCase() !== "a")
            element = element.parentElement;
        return element && element.href ? element.href : "";
    };
})();
